#include "tests/support/run_command.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <ostream>
#include <sstream>
#include <system_error>

namespace joinscope::test {
namespace {

struct Pipe {
  tolk::UniqueFd readEnd, writeEnd;
};

Pipe makePipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  return {tolk::UniqueFd(ends[0]), tolk::UniqueFd(ends[1])};
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

[[noreturn]] void becomeChild(const Command& command, int in, int out, int err) {
  ::dup2(in, STDIN_FILENO);
  ::dup2(out, STDOUT_FILENO);
  ::dup2(err, STDERR_FILENO);
  ::signal(SIGPIPE, SIG_DFL);
  // A process that forbids ptrace cannot be searched for leaks; everything else is checked.
  ::setenv("ASAN_OPTIONS", "detect_leaks=0:handle_abort=1:verify_asan_link_order=0", 1);
  ::setenv("UBSAN_OPTIONS", "print_stacktrace=1", 1);
  for (const std::string& entry : command.environment) {
    ::putenv(const_cast<char*>(entry.c_str()));
  }
  const std::vector<char*> arguments = pointers(command.arguments);
  ::execvp(arguments[0], arguments.data());
  ::_exit(127);
}

/// Appends what is readable; closes the descriptor at the end of the stream.
void drain(tolk::UniqueFd& fd, std::string& into) {
  std::array<char, 65536> buffer;
  const ssize_t count = ::read(fd.get(), buffer.data(), buffer.size());
  if (count > 0) {
    into.append(buffer.data(), static_cast<std::size_t>(count));
  } else if (count == 0 || errno != EINTR) {
    fd.reset();
  }
}

/// Writes what the pipe takes; closes it when all is written or nobody reads.
void feed(tolk::UniqueFd& fd, std::string& from) {
  const ssize_t count = ::write(fd.get(), from.data(), from.size());
  if (count > 0) from.erase(0, static_cast<std::size_t>(count));
  if (from.empty() || (count < 0 && errno != EINTR && errno != EAGAIN)) fd.reset();
}

/// The command and its arguments for a message, not longer than a few lines.
std::string shown(const std::vector<std::string>& arguments) {
  constexpr std::size_t kMost = 400;
  std::string text;
  for (const std::string& argument : arguments) text += argument + ' ';
  return text.substr(0, kMost);
}

/// Whether a sanitizer has written there.
bool hasReport(const std::string& text) {
  constexpr std::array kMarks{"Sanitizer: ", "Sanitizer:DEADLYSIGNAL", ": runtime error: "};
  return std::ranges::any_of(
      kMarks, [&](const char* mark) { return text.find(mark) != std::string::npos; });
}

}  // namespace

ExitStatus::~ExitStatus() {
  if (!unread_.empty()) ADD_FAILURE() << "a failure that nobody looked at: " << unread_;
}

std::ostream& operator<<(std::ostream& stream, const CommandResult& result) {
  return stream << "status " << result.status << "\n--- standard output\n"
                << result.out << "--- standard error\n"
                << result.err << "---";
}

RunningCommand::RunningCommand(const Command& command)
    : what_(shown(command.arguments)),
      deadline_(std::chrono::steady_clock::now() + command.limit),
      input_(command.input) {
  ::signal(SIGPIPE, SIG_IGN);
  Pipe in = makePipe();
  Pipe out = makePipe();
  Pipe err = makePipe();
  pid_ = ::fork();
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid_ == 0) {
    becomeChild(command, in.readEnd.get(), out.writeEnd.get(), err.writeEnd.get());
  }
  ::fcntl(in.writeEnd.get(), F_SETFL, O_NONBLOCK);
  if (!input_.empty()) in_ = std::move(in.writeEnd);
  out_ = std::move(out.readEnd);
  err_ = std::move(err.readEnd);
}

RunningCommand::~RunningCommand() {
  if (pid_ <= 0) return;
  siginfo_t change{};
  ::waitid(P_PID, static_cast<id_t>(pid_), &change, WEXITED | WNOHANG | WNOWAIT);
  const bool ended = change.si_pid != 0;
  ::kill(pid_, SIGKILL);
  deadline_ = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (pump()) {
  }
  collect(!ended);
  EXPECT_FALSE(ended) << "ended before it was stopped: " << what_ << result_;
}

void RunningCommand::collect(bool killed) {
  int status = 0;
  if (::waitpid(pid_, &status, 0) != pid_) ADD_FAILURE() << what_ << "cannot be collected";
  pid_ = -1;
  const int value = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  // The numbers above are statuses of joinscope.
  const bool bySignal = value > 128 && value <= 128 + SIGTERM && !killed;
  std::ostringstream all;
  result_.status = value;
  all << what_ << result_;
  if (bySignal || hasReport(result_.out) || hasReport(result_.err)) {
    ADD_FAILURE() << "ended by a signal, or with a sanitizer's report: " << all.str();
  } else if (value != 0 && !killed) {
    result_.status = ExitStatus(value, all.str());
  }
}

bool RunningCommand::pump() {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      deadline_ - std::chrono::steady_clock::now());
  if (left.count() <= 0 || (!out_ && !err_)) return false;
  std::array<pollfd, 3> watched{
      {{out_.get(), POLLIN, 0}, {err_.get(), POLLIN, 0}, {in_.get(), POLLOUT, 0}}};
  if (::poll(watched.data(), watched.size(), static_cast<int>(left.count())) <= 0) return true;
  if (watched[0].revents != 0) drain(out_, result_.out);
  if (watched[1].revents != 0) drain(err_, result_.err);
  if (watched[2].revents != 0) feed(in_, input_);
  return true;
}

bool RunningCommand::waitForError(const std::string& text) {
  while (result_.err.find(text) == std::string::npos) {
    if (!pump()) return false;
  }
  return true;
}

CommandResult RunningCommand::wait() {
  while (pump()) {
  }
  const bool late = std::chrono::steady_clock::now() >= deadline_;
  if (late) ::kill(pid_, SIGKILL);
  collect(late);
  if (late) ADD_FAILURE() << "killed at its limit: " << what_ << result_;
  return std::move(result_);
}

CommandResult run(const Command& command) {
  return RunningCommand(command).wait();
}

}  // namespace joinscope::test
