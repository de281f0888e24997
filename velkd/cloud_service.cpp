// The daemon's side of the cloud platform.
#include "velkd/cloud_service.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "cloud/http/cloud_conn_pool.h"
#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_object.h"
#include "cloud/http/curl_gsssetup.h"
#include "cloud/http/curl_object.h"
#include "cloud/http/platform_way.h"
#include "cloud/signon/orb.h"
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
    tolk::ConnectorAccess* const connectors = tolk::ConnectorAccess::current();
    if (connectors == nullptr || connectors->platformUrl().empty()) return;
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

/// Whether the platform answers by that way.
bool answers(tolk::PlatformWay& way, std::chrono::steady_clock::time_point start) {
  try {
    tolk::CurlObject transfer;
    way.prepare(transfer, kLog);
    constexpr long kLeastMs = 500;
    transfer.setOption(CURLOPT_TIMEOUT_MS, std::max(kLeastMs, remainingMs(start)));
    way.request(transfer, way.platform + tolk::CLOUD_RESTAPI_SYSINFO_VERSION, {}, false);
    return isPlatformStatus(transfer.responseCode());
  } catch (const tolk::Base_Exception& e) {
    kLog.debug("%s does not answer: %s", {way.platform, e.what()});
    return false;
  }
}

}  // namespace

CloudInstance checkCloudInstance() {
  using Code = CloudInstance::Code;
  const auto start = std::chrono::steady_clock::now();
  for (;;) {
    tolk::PlatformWay way = tolk::PlatformWay::choose(false);
    if (way.platform.empty()) return {};
    CloudInstance instance{.code = Code::notConnected,
                           .text = way.platform + "," + way.proxy.server};
    if (!way.exists()) return instance;
    if (answers(way, start)) instance.code = way.direct ? Code::direct : Code::throughProxy;
    // A connector that is there is kept: it can do nothing for a platform that is not.
    if (!way.connectorFailed || remainingMs(start) <= 0) return instance;
  }
}

CloudService::CloudService(const StatusBoard& board)
    : connectors_(board), events_(std::make_shared<tolk::ORBProcessor>()) {
  tolk::ORBProcessor::setProcessor(events_);
  (void)tolk::RunQueue::getRunQueue(kQueueName, true, 1);
  tolk::UpdateCloudHttpProxy();
  startEvents();
  (void)tolk::RunQueue::getRunQueue(kQueueName, true, 1)
      ->queue(std::make_shared<Sweep>(mfa_, connectors_));
}

void CloudService::reload() {
  dropCredentials();
  connectors_.reload();
  startEvents();
  const std::lock_guard lock(mutex_);
  instanceUntil_ = {};
  ++reloads_;
}

// The one for the web proxy may have been taken away: whoever holds it lets it go.
void CloudService::dropCredentials() {
  tolk::UpdateCloudHttpProxy();
  mfa_.dropForeignCredentials();
  tolk::CloudConnPool::getInstance().reapCurls(true);
  tolk::CurlProxyNegotiateHelper::forgetShared();
  if (const auto events = tolk::RunQueue::getRunQueue(tolk::ORB_QUEUE_NAME, false, 0)) {
    (void)events->queue(std::make_shared<QueuedWork>(
        "ReloadEvents", [processor = events_] { processor->reload(); }));
  }
}

void CloudService::connected() {
  connectors_.connected();
}

void CloudService::startEvents() {
  if (!tolk::Props().getBool(tolk::PN::VELKD_CLOUD_LOG_PRIVEVENT)) return;
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
  if (!tolk::Props().getBool(tolk::PN::VELKD_CLOUD_LOG_PRIVEVENT)) return false;
  tolk::ORBProcessor::handleLogPrivEvent(std::move(event));
  return true;
}

}  // namespace velkd
