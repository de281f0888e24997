// The client of the platform for privilege events.
#include "cloud/signon/orb.h"

#include <algorithm>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_log.h"
#include "cloud/http/url_text.h"
#include "cloud/signon/cloud_json.h"
#include "cloud/signon/iwa_site_check.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.orb.processor"};
constexpr long kUnauthorized = 401;

std::string eventJson(const EventPayload& payload) {
  json::Document event(rapidjson::kObjectType);
  json::Allocator& memory = event.GetAllocator();
  const auto text = [&memory](const std::string& value) {
    return json::makeString(isUtf8(value) ? value : printable(value), memory);
  };
  for (const auto& [name, value] : payload) event.AddMember(text(name), text(value), memory);
  return json::write(event);
}

void recordFault(const SiteCheckResult& check, long status) {
  using Fault = SiteCheckResult::Fault;
  switch (check.fault) {
    case Fault::status:
      return kLog.debug("siteCheck: httpCode not OK : %ld", {std::to_string(status)});
    case Fault::noOpeningBrace:
    case Fault::noClosingBrace:
      return kLog.debug(
          "siteCheck: no valid json string in SiteCheck response. Can't find '{' or '}'.");
    case Fault::notSuccess:
      return kLog.debug("siteCheck: result not success: (%s)", {check.result});
    case Fault::none:
      return kLog.debug("siteCheck: complete successfully");
  }
}

}  // namespace

Lock ORBProcessor::gAccess;
std::vector<EventPayload> ORBProcessor::gEvtPayloads;
std::shared_ptr<ORBProcessor> ORBProcessor::gProcessor;

void ORBProcessor::checkEnabled() {
  if (Props().getBool(PN::VELKD_CLOUD_LOG_PRIVEVENT)) return;
  throw ORBException("ORB is disabled in config file.", 0);
}

std::shared_ptr<ORBProcessor> ORBProcessor::getProcessor() {
  checkEnabled();
  const std::lock_guard lock(gAccess);
  if (!gProcessor) throw ORBException("ORB is not ready.", 1);
  return gProcessor;
}

void ORBProcessor::setProcessor(std::shared_ptr<ORBProcessor> processor) {
  const std::lock_guard lock(gAccess);
  gProcessor = std::move(processor);
}

void ORBProcessor::handleLogPrivEvent(EventPayload payload) {
  try {
    {
      const std::lock_guard lock(gAccess);
      gEvtPayloads.push_back(std::move(payload));
    }
    const std::shared_ptr<RunQueue> queue = RunQueue::getRunQueue(ORB_QUEUE_NAME, false, 0);
    if (!queue) return;
    (void)queue->queue(std::make_shared<ORBHandler>());
    kLog.debug("Send out LogPrivEvent message to ORB handler");
  } catch (const std::exception& e) {
    kLog.error("Failed to send out LogPrivEvent message to ORB handler: %s", {e.what()});
  }
}

void ORBHandler::run() {
  try {
    ORBProcessor::getProcessor()->postLogPrivEvent();
  } catch (const std::exception&) {
    // Events are switched off, or not posted yet.
  }
}

template <typename Work>
void ORBProcessor::recordFailures(const Work& work) {
  try {
    work();
  } catch (const CloudIwaException& e) {
    kLog.debug("Got IWA exception: %s", {e.what()});
  } catch (const CurlException& e) {
    kLog.debug("Got CURL exception: %s", {e.what()});
  } catch (const std::exception& e) {
    kLog.debug("Got exception: %s", {e.what()});
  }
}

void ORBProcessor::initProc(const std::string& url) {
  {
    const std::lock_guard lock(gAccess);
    gEvtPayloads.clear();
  }
  url_ = url;
  recordFailures([this] {
    signOn();
    kLog.debug("ORBProcessor: initProc completes");
  });
}

void ORBProcessor::signOn() {
  cloudSetup();
  cloudIWA();
  cloudSSO();
}

PlatformWay ORBProcessor::chooseWay() const {
  PlatformWay way = PlatformWay::choose(true);
  if (!url_.empty()) way.platform = url_;
  return way;
}

void ORBProcessor::cloudSetup() {
  transfer_.reset();
  way_ = chooseWay();
  if (way_.platform.empty()) throw CloudException("No address of the cloud platform is known");
  transfer_ = newTransfer(way_);
}

std::unique_ptr<CurlObject> ORBProcessor::newTransfer(const PlatformWay& way) const {
  auto transfer = std::make_unique<CurlObject>();
  if (way.direct) {
    kLog.debug("Velkd is connecting to cloud server directly.");
  } else if (way.proxy.server.empty()) {
    kLog.debug("Cloud web proxy is not configured correctly.");
  }
  way.prepare(*transfer, kLog);
  return transfer;
}

void ORBProcessor::cloudIWA() {
  SiteCheckResult check = checkSite(*transfer_, way_, kLog);
  recordFault(check, transfer_->responseCode());
  const bool good = check.fault == SiteCheckResult::Fault::none;
  siteCheck_ = good ? std::move(check.answer) : json::Document();
}

void ORBProcessor::cloudSSO() {
  const std::string url = way_.platform + CLOUD_RESTAPI_SSO + "?OneTimePass=" +
                          percentEncoded(getJsonString(siteCheck_, JSON_MEMBER_OTC));
  way_.request(*transfer_, url, {}, false);
  const bool result = processResult();
  kLog.debug("sso: result = %d, httpCode = %ld",
             {std::to_string(result), std::to_string(transfer_->responseCode())});
  if (result) machineCookie_ = transfer_->getCookie(CLOUD_AUTH_COOKIE);
}

void ORBProcessor::postLogPrivEvent() {
  kLog.debug("postLogPrivEvent() runs...");
  {
    const std::lock_guard lock(gAccess);
    if (gEvtPayloads.empty()) return;
  }
  std::size_t posted = 0;
  recordFailures([this, &posted] {
    if (machineCookie_.empty()) {
      kLog.debug("Machine cookie not ready, will fetch");
      initProc(url_);
    } else {
      followWay();
    }
    // Without a sign-on, which initProc() has recorded, the platform would refuse every event.
    if (!machineCookie_.empty()) cloudLogPrivEvent(posted);
  });
  // Those that came meanwhile have a handler of their own waiting.
  const std::lock_guard lock(gAccess);
  posted = std::min(posted, gEvtPayloads.size());
  gEvtPayloads.erase(gEvtPayloads.begin(),
                     gEvtPayloads.begin() + static_cast<std::ptrdiff_t>(posted));
}

void ORBProcessor::reload() {
  recordFailures([this] {
    if (transfer_) followWay();
  });
}

// Connectors fail and configurations change after the machine has signed on. At another platform it
// has not.
void ORBProcessor::followWay() {
  PlatformWay way = chooseWay();
  if (!way.platform.empty() && way.platform != way_.platform) {
    machineCookie_.clear();
    return signOn();
  }
  way.platform = way_.platform;
  if (!sameProxy(way.proxy, way_.proxy)) {
    // A new one: connections that the old one keeps have the old credential.
    std::unique_ptr<CurlObject> transfer = newTransfer(way);
    transfer->addCookies(transfer_->cookies());
    transfer_ = std::move(transfer);
  }
  way_ = std::move(way);
}

void ORBProcessor::cloudLogPrivEvent(std::size_t& taken) {
  kLog.debug("process a privilege event");
  transfer_->setCookie(std::string(CLOUD_AUTH_COOKIE) + "=" + machineCookie_ + ";");
  std::vector<EventPayload> payloads;
  {
    const std::lock_guard lock(gAccess);
    payloads = gEvtPayloads;
  }
  taken = payloads.size();
  for (const EventPayload& payload : payloads) {
    way_.request(*transfer_, way_.platform + CLOUD_RESTAPI_LOG_PRIVEVENT, eventJson(payload), true);
    const bool result = processResult();
    kLog.debug("LogPrivEvent: result = %d, httpCode = %ld",
               {std::to_string(result), std::to_string(transfer_->responseCode())});
    if (result) continue;
    if (transfer_->responseCode() != kUnauthorized) {
      kLog.debug("LogPrivEvent: unknown failure, give up such sending.");
      return;
    }
    kLog.debug("LogPrivEvent: machine cookie expired, will refetch");
    machineCookie_.clear();
    transfer_->clearCookies();
    cloudIWA();  // the code that signed the machine on is good for one time
    cloudSSO();  // on failure the next pass signs on from the start
  }
}

bool ORBProcessor::processResult() {
  return isSuccess(*transfer_, answer_, kLog);
}

}  // namespace tolk
