// The daemon's side of the cloud platform: the connectors, the web proxy, multi-factor
// authentication, and the processor of privilege events.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "cloud/signon/orb.h"
#include "velkd/cloud_desk.h"
#include "velkd/connector_service.h"
#include "velkd/mfa_sessions.h"

namespace velkd {

/// Asks the platform for its version, the way that transfers go; a platform that is silent is given
/// up within PN::VELKD_RPC_TIMEOUT.
[[nodiscard]] CloudInstance checkCloudInstance();

/// What waits for the platform runs on run queues, whose threads use this object until
/// tolk::RunQueue::shutdown().
class CloudService final : public CloudDesk {
 public:
  /// `board` must outlive the queues' threads.
  explicit CloudService(const StatusBoard& board);

  /// The configuration or the stored credential may have changed.
  void reload();
  /// The daemon has its connection to the domain again.
  void connected();

  /// An answer is good for some seconds, and whoever asks while one is awaited shares it.
  void askInstance(std::function<void(const CloudInstance&)> done) override;
  bool authenticate(std::function<void(MfaSessions&)> work) override;
  bool logEvent(PrivilegeEvent event) override;

 private:
  void dropCredentials();
  void startEvents();
  void answerInstance();

  ConnectorService connectors_;
  MfaSessions mfa_;
  std::shared_ptr<tolk::ORBProcessor> events_;
  std::atomic<std::size_t> mfaWaiting_ = 0;
  std::mutex mutex_;
  bool eventsStarted_ = false;  // guarded by mutex_, as the following
  unsigned reloads_ = 0;
  CloudInstance instance_;
  std::chrono::steady_clock::time_point instanceUntil_;
  std::vector<std::function<void(const CloudInstance&)>> waiting_;
};

}  // namespace velkd
