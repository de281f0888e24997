// The daemon's side of the cloud platform as its callers see it.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace velkd {

/// Which platform this host uses.
struct CloudInstance {
  /// The codes of GetCloudInstance.
  struct Code {
    static constexpr int notConfigured = 0;
    static constexpr int direct = 1;
    static constexpr int throughProxy = 2;
    static constexpr int notConnected = 3;
  };
  int code = Code::notConfigured;
  std::string text;  ///< the platform's address, a comma, and the web proxy
};

/// A privilege event's names and values.
using PrivilegeEvent = std::vector<std::pair<std::string, std::string>>;

class MfaSessions;

/// For use by several threads.
class CloudDesk {
 public:
  CloudDesk() = default;
  CloudDesk(const CloudDesk&) = delete;
  CloudDesk& operator=(const CloudDesk&) = delete;
  virtual ~CloudDesk() = default;

  /// Has `done` called, now or on another thread, once it is known whether the platform answers.
  virtual void askInstance(std::function<void(const CloudInstance&)> done) = 0;
  /// Has `work` done, with what it needs of authentications, by a thread that may wait for the
  /// platform. False when too much is waiting.
  virtual bool authenticate(std::function<void(MfaSessions&)> work) = 0;
  /// Queues an event for the platform; false when the configuration has none posted.
  virtual bool logEvent(PrivilegeEvent event) = 0;
};

}  // namespace velkd
