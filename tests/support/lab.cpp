#include "tests/support/lab.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace joinscope::test {
namespace {

/// The same name in all programs: they run one after another and share the forest.
constexpr const char* kLabName = "e2e";

std::vector<std::string> labCommand(const std::vector<std::string>& arguments) {
  std::vector<std::string> all{JOINSCOPE_SOURCE_DIR "/lab/lab", "--name", kLabName};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return all;
}

std::string quoted(const std::string& word) {
  std::string result = "'";
  for (const char c : word) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

}  // namespace

std::string joinscopeBinary() {
  return JOINSCOPE_BINARY;
}

std::string joincheckBinary() {
  return JOINCHECK_BINARY;
}

std::string daemonBinary() {
  return JOINSCOPE_DAEMON_BINARY;
}

Command Host::command(const std::vector<std::string>& arguments, const HostOptions& options) const {
  std::vector<std::string> all = labCommand({"exec", "--user", options.user, name_});
  all.insert(all.end(), arguments.begin(), arguments.end());
  return {.arguments = std::move(all), .input = options.input, .limit = options.limit};
}

CommandResult Host::run(const std::vector<std::string>& arguments,
                        const HostOptions& options) const {
  return test::run(command(arguments, options));
}

CommandResult Host::shell(const std::string& line, const HostOptions& options) const {
  return run({"sh", "-c", line}, options);
}

std::string Host::must(const std::string& line) const {
  CommandResult result = shell(line);
  if (result.status != 0) {
    throw std::runtime_error(name_ + ": " + line + ": status " + std::to_string(result.status) +
                             "\n" + result.out + result.err);
  }
  return std::move(result.out);
}

CommandResult Host::joinscope(std::vector<std::string> arguments,
                              const HostOptions& options) const {
  arguments.insert(arguments.begin(), joinscopeBinary());
  return run(arguments, options);
}

CommandResult Host::joinscopeAfter(const std::string& line,
                                   const std::vector<std::string>& arguments,
                                   const HostOptions& options) const {
  std::string script = "set -e; " + line + "; exec ";
  if (options.user != "root") {
    script += "setpriv --reuid " + options.user + " --regid " + options.user +
              " --init-groups --reset-env ";
  }
  script += quoted(joinscopeBinary());
  for (const std::string& argument : arguments) script += " " + quoted(argument);
  return run({"unshare", "--mount", "sh", "-c", script},
             {.user = "root", .input = options.input, .limit = options.limit});
}

RunningCommand Host::start(const std::vector<std::string>& arguments,
                           const HostOptions& options) const {
  return RunningCommand(command(arguments, options));
}

pid_t Host::initProcess() const {
  return static_cast<pid_t>(std::stol(test::run({.arguments = labCommand({"pid", name_})}).out));
}

HostChange::HostChange(const Host& host, const std::string& change, std::string undo)
    : host_(host), undo_(std::move(undo)) {
  host_.must(change);
}

HostChange::~HostChange() {
  const CommandResult result = host_.shell(undo_);
  EXPECT_EQ(result.status, 0) << host_.name() << ": cannot undo: " << undo_ << ": " << result;
}

CommandResult Lab::run(const std::vector<std::string>& arguments) {
  return test::run(
      {.arguments = labCommand(arguments), .environment = {"LAB_VELKD=" + daemonBinary()}});
}

void Lab::command(const std::vector<std::string>& arguments) {
  const CommandResult result = run(arguments);
  EXPECT_EQ(result.status, 0) << "lab " << arguments.front() << ": " << result;
}

}  // namespace joinscope::test
