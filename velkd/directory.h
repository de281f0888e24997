// The daemon's work with the directory: one binding with the machine keytab, kept alive, and the
// reads that callers ask for. Everything here belongs to the worker's thread.
#pragma once

#include <chrono>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tolk/ldap/sid.h"
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

  /// Looks at the computer object now, unless that was done after `since`; the board shows what
  /// came of it. Connects first as fetch() does. Throws nothing.
  void look(Clock::time_point since) noexcept;

  /// Does what is due: connects, looks at the computer object, renews the ticket, goes on gathering
  /// identifier ranges. Returns when to come again. Throws nothing.
  [[nodiscard]] Clock::time_point upkeep() noexcept;

 private:
  // Who this host is by its join settings.
  struct Identity {
    std::string domain;
    std::string host;
    std::optional<tolk::SID> sid;  // of the computer object

    bool operator==(const Identity&) const = default;
  };
  [[nodiscard]] static Identity readIdentity();

  void refreshIdentity();
  void connect();
  void disconnect();
  void noteFailure(const std::string& reason);
  void forgetFailure();
  [[nodiscard]] MachineBinding& machine();
  void checkObject();
  void renewTicket();
  void gather();
  void doDue();
  void authorize(const FetchCall& call);
  [[nodiscard]] MachineBinding::Read readObject(const FetchCall& call);
  [[nodiscard]] MachineBinding::Read readFromOwnServer(const std::string& dn,
                                                       const std::vector<std::string>& attributes);
  [[nodiscard]] std::string answer(const FetchCall& call);
  [[nodiscard]] bool isOwnObject(const FetchCall& call) const;
  [[nodiscard]] bool identifierIsOfDomain();
  void noteObject(const MachineBinding::Read& read);
  // A read that fails is noted, and ends the connection when that is lost.
  template <typename Step>
  void notingFailures(const Step& step);
  void tellServiceManager();

  StatusBoard& board_;
  std::function<void()> onConnect_;
  Identity identity_;
  std::unique_ptr<MachineBinding> machine_;  // null while not connected
  ObjectCache cache_;
  DomainRanges ranges_;
  ReconnectPause pause_;
  std::string lastFailure_;
  std::string objectDn_;
  std::string told_;  // to the service manager
  std::time_t renewAt_ = 0;
  Clock::time_point lastLook_{};
  Clock::time_point nextCheck_{};
  Clock::time_point nextGathering_{};
};

}  // namespace velkd
