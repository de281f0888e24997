#include "tolk/base/child_process.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include <sys/pidfd.h>  // has no guard for C++ in this C library
}

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

using Clock = std::chrono::steady_clock;

// Between fork and exec: only what is safe there (signal-safety(7)).
[[noreturn]] void become(char* const* arguments, int output, pid_t parent) noexcept {
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(kCannotRun);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::signal(SIGPIPE, SIG_DFL);
  if (output != -1) ::dup2(output, STDOUT_FILENO);
  ::execv(arguments[0], arguments);
  const char* reason = ::strerrordesc_np(errno);
  for (const char* text : {"Cannot run ", static_cast<const char*>(arguments[0]), ": ",
                           reason != nullptr ? reason : "unknown error", "\n"}) {
    if (::write(STDERR_FILENO, text, std::strlen(text)) < 0) break;
  }
  ::_exit(kCannotRun);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, int output) {
  std::vector<char*> words;
  words.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    words.push_back(
        const_cast<char*>(argument.c_str()));  // NOLINT(*-const-cast): as execv wants it
  }
  words.push_back(nullptr);
  const pid_t self = ::getpid();
  pid_ = ::fork();
  if (pid_ == 0) become(words.data(), output, self);
  if (pid_ == -1) throw IOException("Cannot fork", errno);
  ::setpgid(pid_, pid_);  // here too: whoever comes first
}

ChildProcess::~ChildProcess() {
  if (pid_ == -1) return;
  ::kill(-pid_, SIGKILL);
  reap();
}

int ChildProcess::wait(Clock::time_point deadline) {
  const bool ended = endsBefore(deadline);
  if (!ended) ::kill(-pid_, SIGKILL);
  const int status = reap();
  return ended ? status : kTimedOut;
}

bool ChildProcess::endsBefore(Clock::time_point deadline) const {
  const UniqueFd process(::pidfd_open(pid_, 0));
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd one{process.get(), POLLIN, 0};
    const int ready = ::poll(&one, 1, static_cast<int>(std::max<long>(left.count(), 0)));
    if (ready > 0) return true;
    if (ready == 0) return false;
    if (errno != EINTR) return false;
  }
}

int ChildProcess::reap() noexcept {
  constexpr int kSignalled = 128;
  int status = 0;
  while (::waitpid(pid_, &status, 0) == -1 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
}

int spawnfv(const std::vector<std::string>& arguments) {
  try {
    ChildProcess child(arguments);
    const std::chrono::milliseconds limit(Props().getLimitMs(PN::SUPPORT_COMMAND_TIMEOUT));
    const int status = child.wait(Clock::now() + limit);
    if (status == kTimedOut) {
      std::cerr << arguments.front() << ": no end within " << limit.count() / 1000 << " s ("
                << PN::SUPPORT_COMMAND_TIMEOUT.key << ")\n";
    }
    return status;
  } catch (const IOException&) {
    return -1;
  }
}

}  // namespace tolk
