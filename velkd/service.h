// The methods of the daemon channel: who may call them, what they answer. docs/daemon-protocol.md
// describes them.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "velkd/cloud_desk.h"
#include "velkd/counters.h"
#include "velkd/directory.h"
#include "velkd/mailbox.h"
#include "velkd/server.h"
#include "velkd/status.h"
#include "velkd/worker.h"

namespace velkd {

/// Answers at once what needs no network and hands the rest to the worker. Everything it refers to
/// must outlive it.
class Service {
 public:
  /// `fetch` runs on the worker's thread and gives the text of an answer or throws RpcError.
  using Fetch = std::function<std::string(const FetchCall&)>;
  /// Runs there, too, and brings the board up to date unless that happened after the given time. It
  /// throws nothing.
  using Look = std::function<void(std::chrono::steady_clock::time_point since)>;

  Service(const StatusBoard& board, Worker& worker, Fetch fetch, Look look, CloudDesk& cloud,
          Mailbox& mailbox)
      : board_(board),
        worker_(worker),
        fetch_(std::move(fetch)),
        look_(std::move(look)),
        cloud_(cloud),
        mailbox_(mailbox) {}

  /// A Handler for the server.
  Outcome handle(const Request& request);

 private:
  struct Call;
  struct Method;
  struct Later;
  [[nodiscard]] Outcome run(const Call& call);
  [[nodiscard]] Outcome fetchObject(const Call& call);
  [[nodiscard]] Outcome getSystemInfo(const Call& call);
  [[nodiscard]] std::optional<Outcome> lookFirst(const Call& call,
                                                 const std::function<std::string(bool)>& make);
  [[nodiscard]] Outcome getDomainIdentifiers(const Call& call);
  [[nodiscard]] Outcome getCloudInstance(const Call& call);
  [[nodiscard]] Outcome logPrivilegeEvent(const Call& call);
  [[nodiscard]] Outcome startMfa(const Call& call);
  [[nodiscard]] Outcome advanceMfa(const Call& call);
  [[nodiscard]] Outcome endMfa(const Call& call);
  [[nodiscard]] Outcome authenticate(const Call& call,
                                     std::function<std::string(MfaSessions&)> step);
  // For other threads: leaves the answer that `make` gives, or the error that it throws.
  void answerLater(const Later& later, const std::function<std::string()>& make);

  const StatusBoard& board_;
  Worker& worker_;
  Fetch fetch_;
  Look look_;
  CloudDesk& cloud_;
  Mailbox& mailbox_;
  Counters counters_;
};

}  // namespace velkd
