// The daemon's side of the cloud platform.
#include "velkd/cloud_service.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "cloud/certificate_check.h"
#include "cloud/cloud_conn_pool.h"
#include "cloud/cloud_exceptions.h"
#include "cloud/cloud_object.h"
#include "cloud/connector_access.h"
#include "cloud/curl_object.h"
#include "cloud/http_proxy.h"
#include "cloud/iwa_site_check.h"
#include "cloud/orb.h"
#include "cloud/platform_headers.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/run_queue.h"

namespace velkd {
namespace {

constexpr tolk::CloudLog kLog{"velkd.cloud"};
constexpr const char* kQueueName = "cloud";

/// A piece of work for a run queue.
class QueuedWork final : public tolk::QueueAble {
 public:
  QueuedWork(const std::string& name, std::function<void()> work)
      : QueueAble(name), work_(std::move(work)) {}
  void run() override { work_(); }

 private:
  std::function<void()> work_;
};

/// Ends the authentications that nobody goes on with, and searches anew when all connectors failed.
class Sweep final : public tolk::QueueAble {
 public:
  Sweep(MfaSessions& sessions, ConnectorService& connectors)
      : QueueAble("CloudSweep"), sessions_(sessions), connectors_(connectors) {
    constexpr long kSecondsBetween = 30;
    setTimeout(kSecondsBetween);
  }
  void run() override {
    sessions_.dropOld();
    connectors_.refreshWhenExhausted();
  }
  [[nodiscard]] bool periodic() const override { return true; }

 private:
  MfaSessions& sessions_;
  ConnectorService& connectors_;
};

/// Signs the machine on once a platform is known: the connectors tell it, after their first search.
class SignOn final : public tolk::QueueAble {
 public:
  SignOn() : QueueAble("SignOn") {
    constexpr long kSecondsBetween = 2;
    setTimeout(kSecondsBetween);
  }
  void run() override {
    const tolk::ConnectorAccess* connectors = tolk::ConnectorAccess::current();
    if (connectors == nullptr || tolk::ConnectorAccess::current()->platformUrl().empty()) return;
    done_ = true;
    tolk::ORBProcessor::getProcessor()->initProc("");
  }
  [[nodiscard]] bool periodic() const override { return !done_; }

 private:
  bool done_ = false;
};

/// Whether that status comes from the platform, and not from a proxy on the way that cannot reach
/// it.
bool isPlatformStatus(long status) {
  constexpr long kServerErrors = 500;
  constexpr long kProxyDenied = 407;
  return status != kProxyDenied && status < kServerErrors;
}

/// What is left for the caller's wait since `start`, less a margin for the way back.
long remainingMs(std::chrono::steady_clock::time_point start) {
  constexpr long kMarginMs = 1000;
  const auto past = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - start);
  return tolk::Props().getLimitMs(tolk::PN::VELKD_RPC_TIMEOUT) - kMarginMs -
         static_cast<long>(past.count());
}

/// Who answers a request to the platform.
enum class Answerer { platform, somethingOnTheWay, nobody };

Answerer askPlatform(const std::string& url, const tolk::HttpProxy& proxy,
                     std::chrono::steady_clock::time_point start) {
  try {
    tolk::CurlObject transfer;
    tolk::addPlatformHeaders(transfer);
    tolk::checkPlatformCertificate(transfer, kLog);
    tolk::applyProxy(transfer, proxy, kLog);
    constexpr long kLeastMs = 500;
    transfer.setOption(CURLOPT_TIMEOUT_MS, std::max(kLeastMs, remainingMs(start)));
    transfer.makeRequest(url + tolk::CLOUD_RESTAPI_SYSINFO_VERSION, {}, false);
    return isPlatformStatus(transfer.responseCode()) ? Answerer::platform
                                                     : Answerer::somethingOnTheWay;
  } catch (const tolk::CurlUnreachableException& e) {
    kLog.debug("%s cannot be reached: %s", {url, e.what()});
    return Answerer::nobody;
  } catch (const tolk::Base_Exception& e) {
    kLog.debug("%s does not answer: %s", {url, e.what()});
    return Answerer::somethingOnTheWay;
  }
}

}  // namespace

CloudInstance checkCloudInstance() {
  using Code = CloudInstance::Code;
  tolk::ConnectorAccess* connectors = tolk::ConnectorAccess::current();
  const std::string url = connectors == nullptr ? "" : connectors->platformUrl();
  if (url.empty()) return {};
  const bool direct = tolk::Props().getBool(tolk::PN::CLOUD_DIRECT_CONNECTION, false);
  const auto start = std::chrono::steady_clock::now();
  for (;;) {
    const tolk::HttpProxy proxy = tolk::getCloudProxy();
    CloudInstance instance{.code = Code::notConnected, .text = url + "," + proxy.server};
    if (proxy.server.empty() && !direct) return instance;
    const Answerer answerer = askPlatform(url, proxy, start);
    if (answerer == Answerer::platform) instance.code = direct ? Code::direct : Code::throughProxy;
    // A connector that is there is kept: it can do nothing for a platform that is not.
    if (answerer != Answerer::nobody || !tolk::usesCloudConnector() || remainingMs(start) <= 0) {
      return instance;
    }
    connectors->resetCurrentCloudConnector();
  }
}

CloudService::CloudService(const StatusBoard& board) : connectors_(board) {
  tolk::ORBProcessor::setProcessor(std::make_shared<tolk::ORBProcessor>());
  (void)tolk::RunQueue::getRunQueue(kQueueName, true, 1);
  tolk::UpdateCloudHttpProxy();
  startEvents();
  (void)tolk::RunQueue::getRunQueue(kQueueName, true, 1)
      ->queue(std::make_shared<Sweep>(mfa_, connectors_));
}

void CloudService::reload() {
  tolk::UpdateCloudHttpProxy();
  tolk::CloudConnPool::getInstance().reapCurls(true);
  connectors_.reload();
  startEvents();
  const std::lock_guard lock(mutex_);
  instanceUntil_ = {};
  ++reloads_;
}

void CloudService::connected() {
  connectors_.connected();
}

void CloudService::startEvents() {
  if (!tolk::Props().getBool(tolk::PN::VELKD_CLOUD_LOG_PRIVEVENT, false)) return;
  const std::lock_guard lock(mutex_);
  if (eventsStarted_) return;
  eventsStarted_ = true;
  (void)tolk::RunQueue::getRunQueue(tolk::ORB_QUEUE_NAME, true, 1)
      ->queue(std::make_shared<SignOn>());
}

void CloudService::askInstance(std::function<void(const CloudInstance&)> done) {
  std::unique_lock lock(mutex_);
  if (std::chrono::steady_clock::now() < instanceUntil_) {
    const CloudInstance known = instance_;
    lock.unlock();
    done(known);
    return;
  }
  waiting_.push_back(std::move(done));
  if (waiting_.size() > 1) return;
  (void)tolk::RunQueue::getRunQueue(kQueueName, true, 1)
      ->queue(std::make_shared<QueuedWork>("CloudInstance", [this] { answerInstance(); }));
}

void CloudService::answerInstance() {
  constexpr std::chrono::seconds kGoodFor(10);
  unsigned reloads = 0;
  {
    const std::lock_guard lock(mutex_);
    reloads = reloads_;
  }
  CloudInstance instance;
  try {
    instance = checkCloudInstance();
  } catch (const std::exception& e) {
    kLog.error("%s", {e.what()});
  }
  std::vector<std::function<void(const CloudInstance&)>> waiting;
  {
    const std::lock_guard lock(mutex_);
    instance_ = instance;
    // Not when the configuration has changed meanwhile, nor while the platform is still looked for.
    if (reloads == reloads_ && instance.code != CloudInstance::Code::notConfigured)
      instanceUntil_ = std::chrono::steady_clock::now() + kGoodFor;
    waiting.swap(waiting_);
  }
  for (const auto& done : waiting) done(instance);
}

bool CloudService::authenticate(std::function<void(MfaSessions&)> work) {
  constexpr int kThreads = 10;
  constexpr std::size_t kMostWaiting = 512;
  if (mfaWaiting_ >= kMostWaiting) return false;
  ++mfaWaiting_;
  const auto item = std::make_shared<QueuedWork>("Mfa", [this, work = std::move(work)] {
    --mfaWaiting_;
    work(mfa_);
  });
  const bool queued = tolk::RunQueue::getRunQueue("mfa", true, kThreads)->queue(item);
  if (!queued) --mfaWaiting_;
  return queued;
}

bool CloudService::logEvent(PrivilegeEvent event) {
  if (!tolk::Props().getBool(tolk::PN::VELKD_CLOUD_LOG_PRIVEVENT, false)) return false;
  tolk::ORBProcessor::handleLogPrivEvent(std::move(event));
  return true;
}

}  // namespace velkd
