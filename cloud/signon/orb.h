// The client of the platform for privilege events: queued anywhere in the agent, posted by a run
// queue's thread.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cloud/http/cloud_object.h"
#include "cloud/http/curl_object.h"
#include "cloud/http/platform_way.h"
#include "tolk/base/json.h"
#include "tolk/base/lock.h"
#include "tolk/base/run_queue.h"

namespace tolk {

/// The (name, value) pairs of one privilege event, in the order in which they are sent.
using EventPayload = std::vector<std::pair<std::string, std::string>>;

/// The run queue on which events are posted.
inline constexpr char ORB_QUEUE_NAME[] = "orb";

/// Signs the machine on with a cloud connector's site check and posts the queued events. The static
/// functions are for any thread, the others for the run queue's.
class ORBProcessor : public CloudBase {
 public:
  ORBProcessor() = default;

  /// Throws ORBException (code 0) unless the configuration has events posted.
  static void checkEnabled();
  /// The processor. Throws ORBException, also (code 1) when none was made.
  static std::shared_ptr<ORBProcessor> getProcessor();
  /// Makes `processor` the process's one; null takes it away.
  static void setProcessor(std::shared_ptr<ORBProcessor> processor);
  /// Queues an event and has the queue posted, as soon as there is a run queue. Throws nothing.
  static void handleLogPrivEvent(EventPayload payload);

  /// Discards all queued events and signs on at the platform `url`, which ends with "/"; "" takes
  /// the one that the connectors tell, now and at each later pass. Failures are recorded.
  void initProc(const std::string& url);
  /// Posts the queued events in their order and takes them from the queue, whatever came of it.
  /// Failures are recorded.
  void postLogPrivEvent();
  /// Takes the proxy of a changed configuration, and keeps nothing of the one before. Failures are
  /// recorded.
  void reload();

  bool processResult() override;

 private:
  void signOn();
  void cloudSetup();
  void cloudIWA();
  void cloudSSO();
  [[nodiscard]] PlatformWay chooseWay() const;
  [[nodiscard]] std::unique_ptr<CurlObject> newTransfer(const PlatformWay& way) const;
  void followWay();
  void cloudLogPrivEvent(std::size_t& taken);
  template <typename Work>
  void recordFailures(const Work& work);

  static Lock gAccess;  // guards the two; never held while the platform is asked
  static std::vector<EventPayload> gEvtPayloads;
  static std::shared_ptr<ORBProcessor> gProcessor;

  std::unique_ptr<CurlObject> transfer_;
  std::string machineCookie_;
  std::string url_;           // as initProc() was given it
  PlatformWay way_;           // of the present pass
  json::Document siteCheck_;  // holds the one-time code
  json::Document answer_;     // the last one
};

/// Has the processor post what is queued.
class ORBHandler : public QueueAble {
 public:
  ORBHandler() : QueueAble("ORBHandler") {}
  void run() override;
};

}  // namespace tolk
