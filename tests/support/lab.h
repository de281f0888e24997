// The lab as the end-to-end tests see it: a forest with hosts on which commands run. One lab for
// all test programs, brought up by the first.
#pragma once

#include <string>
#include <vector>

#include "tests/support/run_command.h"

namespace joinscope::test {

/// The path of the joinscope binary under test.
std::string joinscopeBinary();

/// The path of the joincheck binary under test.
std::string joincheckBinary();

/// The path of the daemon binary under test; `lab up` has adopted the join with it and started it.
std::string daemonBinary();

/// How a command runs on a host of the lab.
struct HostOptions {
  std::string user = "root";
  std::string input = {};
  std::chrono::seconds limit{120};
};

/// One host of the lab.
class Host {
 public:
  explicit Host(std::string name) : name_(std::move(name)) {}

  /// Runs a command as if logged in there.
  [[nodiscard]] CommandResult run(const std::vector<std::string>& arguments,
                                  const HostOptions& options = {}) const;
  /// The same for a line of shell.
  [[nodiscard]] CommandResult shell(const std::string& line, const HostOptions& options = {}) const;
  /// A line of shell that must succeed; gives its output, throws std::runtime_error with both
  /// streams otherwise.
  std::string must(const std::string& line) const;
  /// joinscope with these arguments.
  [[nodiscard]] CommandResult joinscope(std::vector<std::string> arguments,
                                        const HostOptions& options = {}) const;
  /// joinscope where `line` of shell has first changed the host's files: it sees a mount namespace
  /// of its own, so the change ends with the run.
  [[nodiscard]] CommandResult joinscopeAfter(const std::string& line,
                                             const std::vector<std::string>& arguments,
                                             const HostOptions& options = {}) const;
  /// Starts a command and leaves it running.
  [[nodiscard]] RunningCommand start(const std::vector<std::string>& arguments,
                                     const HostOptions& options = {}) const;

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  /// The host's PID 1, as this machine counts.
  [[nodiscard]] pid_t initProcess() const;

 private:
  [[nodiscard]] Command command(const std::vector<std::string>& arguments,
                                const HostOptions& options) const;

  std::string name_;
};

/// Does one line of shell on a host now and another at scope exit.
class HostChange {
 public:
  HostChange(const Host& host, const std::string& change, std::string undo);
  HostChange(const HostChange&) = delete;
  HostChange& operator=(const HostChange&) = delete;
  ~HostChange();

 private:
  const Host& host_;
  std::string undo_;
};

/// The forest of the end-to-end tests.
struct Lab {
  Host dc{"dc1"};        ///< the domain controller
  Host member{"host1"};  ///< joined
  Host guest{"guest1"};  ///< not joined

  /// What `lab up` ends with on a machine that cannot run it: not root, namespaces forbidden, or
  /// packages missing.
  static constexpr int kObstacle = 77;

  /// Runs `lab ARGUMENTS` (scenario, node, dns ...).
  [[nodiscard]] static CommandResult run(const std::vector<std::string>& arguments);
  /// The same; a failure is the test's.
  static void command(const std::vector<std::string>& arguments);
};

}  // namespace joinscope::test
