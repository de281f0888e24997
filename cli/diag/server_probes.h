// The probes of many servers, all waits together, their results in the order in which the text
// needs them.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/diag/port_tables.h"
#include "cli/diag/row_probe.h"
#include "cli/diag/server_text.h"
#include "tolk/ldap/root_dse_reads.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/host_port.h"

namespace joinscope {

/// A server to be probed.
struct ProbeTarget {
  const ServerKind* kind;  ///< one of the constants of port_tables.h
  tolk::HostPort entry;
};

/// Host lookup, first row and, once that is good, all other rows of one server, each started as
/// soon as it can be.
class ServerProbes {
 public:
  /// Starts the lookup. With a `realm`, a controller's LDAP and KDC ports are asked a question too.
  ServerProbes(tolk::EventLoop& loop, const ProbeTarget& target, const std::string& realm);

  /// Takes results that are there and starts what follows from them; never waits.
  void advance();

  /// What is known by now: empty while it is waited for. A row after a first one that is not good
  /// stays empty.
  [[nodiscard]] const std::optional<ProbeVerdict>& resolved() const { return resolved_; }
  [[nodiscard]] const std::optional<ProbeVerdict>& verdict(std::size_t row) const {
    return rows_[row].verdict;
  }
  /// Whether no question is open; facts() is whole when that holds and every row has a verdict.
  [[nodiscard]] bool answered() const { return !rootDse_ && !ticket_; }
  [[nodiscard]] ControllerFacts facts() const;

 private:
  struct Row {
    std::optional<RowProbe> probe;
    std::optional<ProbeVerdict> verdict;
  };

  void takeAddress();
  void start(std::size_t row);
  void ask();
  void takeRootDse();

  tolk::EventLoop& loop_;
  ProbeTarget target_;
  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  tolk::Pending<std::vector<in_addr>> lookup_;
  std::string realm_;
  sockaddr_in address_{};
  std::optional<ProbeVerdict> resolved_;
  std::vector<Row> rows_;
  tolk::Pending<tolk::RootDse> rootDse_;
  tolk::Pending<std::string> ticket_;
  ControllerFacts facts_;
};

/// Probes a list of servers; with a realm asks the controllers among them, beside the rows, what
/// facts tell. The waits of all overlap, or of as many at a time as there are descriptors for;
/// noteTrouble() then says so.
class ProbeRun {
 public:
  explicit ProbeRun(std::vector<ProbeTarget> targets, std::string realm = {});

  [[nodiscard]] std::size_t size() const { return targets_.size(); }

  /// Writes the lines of server number `index`, each as soon as it is known, and returns whether
  /// its first row was good. To be called for 0, 1, 2 ... in turn.
  bool write(std::ostream& out, std::size_t index, std::ostream* diag);

 private:
  void runUntil(const std::function<bool()>& condition);
  ProbeVerdict waitFor(const std::optional<ProbeVerdict>& answer);
  void startUpTo(std::size_t end);

  static constexpr std::size_t kDescriptorsEach = 8;  // all rows of a server, and its lookup

  std::vector<ProbeTarget> targets_;
  std::string realm_;
  std::size_t window_;
  tolk::EventLoop loop_;
  std::vector<std::unique_ptr<ServerProbes>> probes_;  // as far as started; null when written
};

}  // namespace joinscope
