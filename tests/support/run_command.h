// Runs a command as a child process and hands back its status and both of its streams. A child that
// a signal ends, that a sanitizer complains of, that outlives its limit, or whose failure nobody
// looks at fails the test that has started it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "tolk/base/handle.h"

namespace joinscope::test {

/// What to run. The arguments are bytes: empty ones and broken UTF-8 arrive as they are.
struct Command {
  std::vector<std::string> arguments = {};    ///< the program first, looked up on PATH
  std::string input = {};                     ///< standard input
  std::vector<std::string> environment = {};  ///< additions, NAME=value
  std::chrono::seconds limit{120};            ///< after it the child is killed
};

/// An exit status that cannot be overlooked: one other than 0 that goes out of scope without having
/// been read, as an int, fails the test.
class ExitStatus {
 public:
  ExitStatus(int value = 0) : value_(value) {}  // NOLINT(*-explicit-*): compared with numbers
  /// Of a command that has run; `unread` is the failure's message.
  ExitStatus(int value, std::string unread) : value_(value), unread_(std::move(unread)) {}
  /// What is owed goes to the copy.
  ExitStatus(const ExitStatus& other)
      : value_(other.value_), unread_(std::exchange(other.unread_, {})) {}
  ExitStatus& operator=(const ExitStatus& other) {
    value_ = other.value_;
    unread_ = std::exchange(other.unread_, {});
    return *this;
  }
  ~ExitStatus();

  operator int() const {  // NOLINT(*-explicit-*): compared with numbers
    unread_.clear();
    return value_;
  }

 private:
  int value_;
  mutable std::string unread_;
};

/// What came of it.
struct CommandResult {
  ExitStatus status = 0;  ///< the exit status, or 128 + the signal
  std::string out;        ///< standard output
  std::string err;        ///< standard error

  [[nodiscard]] bool operator==(const CommandResult& other) const {
    return int{status} == int{other.status} && out == other.out && err == other.err;
  }
};

/// For the message of a failed comparison.
std::ostream& operator<<(std::ostream& stream, const CommandResult& result);

/// A child that is running. Killed when it goes out of scope, until when it has to run.
class RunningCommand {
 public:
  explicit RunningCommand(const Command& command);
  RunningCommand(const RunningCommand&) = delete;
  RunningCommand& operator=(const RunningCommand&) = delete;
  ~RunningCommand();

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

  /// Reads on until standard error holds `text`. False when the child ends or the limit passes
  /// first.
  bool waitForError(const std::string& text);

  /// Reads to the end and collects the child.
  CommandResult wait();

 private:
  /// Moves what is readable into the result; false when both streams have ended or the limit has
  /// passed.
  bool pump();

  /// Collects the child and judges its end; `killed` when that was ours.
  void collect(bool killed);

  std::string what_;  ///< the command, for messages
  pid_t pid_ = -1;
  std::chrono::steady_clock::time_point deadline_;
  std::string input_;
  tolk::UniqueFd in_, out_, err_;
  CommandResult result_;
};

/// Runs to the end.
CommandResult run(const Command& command);

}  // namespace joinscope::test
