// The daemon's work with the directory: one binding with the machine keytab, kept alive, and the
// reads that callers ask for. Everything here belongs to the worker's thread.
#pragma once

#include <chrono>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "velkd/domain_ranges.h"
#include "velkd/machine_binding.h"
#include "velkd/object_cache.h"
#include "velkd/reconnect_pause.h"
#include "velkd/status.h"

namespace velkd {

/// One call of FetchObject.
struct FetchCall {
  bool privileged = false;
  std::string server;
  std::string dn;
  std::vector<std::string> attributes;
  bool fresh = false;
};

class Directory {
 public:
  using Clock = std::chrono::steady_clock;

  /// `onConnect` is called on the worker's thread after each connection; it must not wait.
  explicit Directory(StatusBoard& board, std::function<void()> onConnect = {})
      : board_(board), onConnect_(std::move(onConnect)) {}

  /// The text of the answer. Connects first when there is no connection and the last attempt is not
  /// too short ago. Throws RpcError.
  [[nodiscard]] std::string fetch(const FetchCall& call);

  /// Does what is due: connects, looks at the computer object, renews the ticket, goes on gathering
  /// identifier ranges. Returns when to come again. Throws nothing.
  [[nodiscard]] Clock::time_point upkeep() noexcept;

 private:
  // Who this host is by its join settings.
  struct Identity {
    std::string domain;
    std::string host;
    std::string objectName;  // "<SID=...>"; "" when no identifier is recorded

    bool operator==(const Identity&) const = default;
  };
  [[nodiscard]] static Identity readIdentity();

  void refreshIdentity();
  void connect();
  void disconnect();
  void noteFailure(const std::string& reason);
  [[nodiscard]] MachineBinding& machine();
  void checkObject();
  void renewTicket();
  void gather();
  void doDue();
  void authorize(const FetchCall& call);
  [[nodiscard]] MachineBinding::Read readObject(const FetchCall& call);
  [[nodiscard]] MachineBinding::Read readFromOwnServer(const FetchCall& call);

  StatusBoard& board_;
  std::function<void()> onConnect_;
  Identity identity_;
  std::unique_ptr<MachineBinding> machine_;  // null while not connected
  ObjectCache cache_;
  DomainRanges ranges_;
  ReconnectPause pause_;
  std::string lastFailure_;
  std::string objectDn_;
  std::time_t renewAt_ = 0;
  Clock::time_point nextCheck_{};
  Clock::time_point nextGathering_{};
};

}  // namespace velkd
