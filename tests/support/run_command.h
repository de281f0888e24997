// Runs a command as a child process and hands back its status and both of its streams.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <iosfwd>
#include <string>
#include <vector>

#include "tolk/base/handle.h"

namespace joinscope::test {

/// What to run. The arguments are bytes: empty ones and broken UTF-8 arrive as they are.
struct Command {
  std::vector<std::string> arguments = {};    ///< the program first, looked up on PATH
  std::string input = {};                     ///< standard input
  std::vector<std::string> environment = {};  ///< additions, NAME=value
  std::chrono::seconds limit{120};  ///< after it the child is killed and the status is kKilled
};

/// What came of it.
struct CommandResult {
  int status = 0;   ///< the exit status, or 128 + the signal
  std::string out;  ///< standard output
  std::string err;  ///< standard error

  [[nodiscard]] bool operator==(const CommandResult&) const = default;
};

/// For the message of a failed comparison.
std::ostream& operator<<(std::ostream& stream, const CommandResult& result);

/// A child that is running. Killed when it goes out of scope.
class RunningCommand {
 public:
  static constexpr int kKilled = 128 + 9;

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

  pid_t pid_ = -1;
  std::chrono::steady_clock::time_point deadline_;
  std::string input_;
  tolk::UniqueFd in_, out_, err_;
  CommandResult result_;
};

/// Runs to the end.
CommandResult run(const Command& command);

}  // namespace joinscope::test
