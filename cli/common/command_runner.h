// The runners that show a file or a command's output in a report. All write to standard output,
// which they flush before a child starts, so that the report keeps its order.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace joinscope {

/// Argument vectors, each run without a shell; the first word is a path.
using CommandTable = std::vector<std::vector<std::string>>;

/// Runs each command, after a line with its words when `echo`. The last status (0 for none), as
/// tolk::spawnfv gives it.
int runCommands(const CommandTable& commands, bool echo);

/// Prints a line end and `heading`, when there is one, runs `command` by sh(1) and prints its
/// output, `indent` before every line and before every 1,023 bytes of a longer one, and a line end.
/// 0, or 1 when the pipe cannot be opened, which is said on standard error. A command is ended
/// after PN::SUPPORT_COMMAND_TIMEOUT, and of its output 16 MiB are shown; both is said in the
/// output.
int runPiped(const char* heading, const std::string& command, const char* indent);

/// Runs `command` by sh(1) with its output thrown away. Its status as tolk::ChildProcess::wait
/// gives it; -1 when it cannot be started, which is said on standard error.
int shellStatus(const std::string& command);

/// Copies a file to standard output; says so there when it cannot be opened or read.
void printFile(const std::string& path);

/// `word` as one literal argument for sh(1).
std::string shellQuoted(std::string_view word);

}  // namespace joinscope
