// fork and exec with a clean environment and a process group, which is ended as a whole when its
// time is up or this process is told to end.
#include "tolk/base/child_process.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include <sys/pidfd.h>  // has no guard for C++ in this C library
}

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

using Clock = std::chrono::steady_clock;

// What a program has to put its things away after SIGTERM.
constexpr std::chrono::seconds kGrace{3};

constexpr std::array kEndingSignals{SIGHUP, SIGINT, SIGQUIT, SIGTERM};

// Whether TZ names a time zone and not a file of somebody's choice.
bool isZoneName(std::string_view zone) noexcept {
  return !zone.starts_with('/') && zone.find("..") == std::string_view::npos &&
         std::all_of(zone.begin(), zone.end(), [](unsigned char byte) {
           return std::isalnum(byte) != 0 || std::strchr("_+-,./<>", byte) != nullptr;
         });
}

// What a program gets of the environment. Many variables choose what a shell, an interpreter or
// the loader runs, and whoever set them may not be who this process runs as. The time zone is for
// times that this process writes into its arguments.
std::vector<std::string> cleanEnvironment() {
  std::vector<std::string> variables{"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "HOME=/", "LC_ALL=C"};
  const char* zone = std::getenv("TZ");
  if (zone != nullptr && isZoneName(zone)) variables.push_back(std::string("TZ=") + zone);
  return variables;
}

// The strings as execve(2) takes them, for as long as they live.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Between fork and exec: only what is safe there (signal-safety(7)).
[[noreturn]] void become(char* const* arguments, char* const* environment, int output,
                         pid_t parent) noexcept {
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (::getppid() != parent) ::_exit(kCannotRun);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::signal(SIGPIPE, SIG_DFL);
  if (output != -1) ::dup2(output, STDOUT_FILENO);
  ::execve(arguments[0], arguments, environment);
  const char* reason = ::strerrordesc_np(errno);
  for (const char* text : {"Cannot run ", static_cast<const char*>(arguments[0]), ": ",
                           reason != nullptr ? reason : "unknown error", "\n"}) {
    if (::write(STDERR_FILENO, text, std::strlen(text)) < 0) break;
  }
  ::_exit(kCannotRun);
}

// Those that would end this process; what is ignored (nohup) stays so.
sigset_t endingSignals() noexcept {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int signal : kEndingSignals) {
    struct sigaction action {};
    ::sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) ::sigaddset(&set, signal);
  }
  return set;
}

}  // namespace

HeldSignals::HeldSignals() {
  const sigset_t set = endingSignals();
  ::pthread_sigmask(SIG_BLOCK, &set, &before_);
  descriptor_.reset(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
}

HeldSignals::~HeldSignals() {
  ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

bool HeldSignals::pending() const noexcept {
  pollfd entry{.fd = descriptor_.get(), .events = POLLIN, .revents = 0};
  return ::poll(&entry, 1, 0) > 0;
}

ChildProcess::ChildProcess(std::vector<std::string> arguments, int output) {
  std::vector<std::string> variables = cleanEnvironment();
  const std::vector<char*> words = pointersTo(arguments);
  const std::vector<char*> environment = pointersTo(variables);
  const pid_t self = ::getpid();
  pid_ = ::fork();
  if (pid_ == 0) become(words.data(), environment.data(), output, self);
  if (pid_ == -1) throw IOException("Cannot fork", errno);
  ::setpgid(pid_, pid_);  // here too: whoever comes first
  process_.reset(::pidfd_open(pid_, 0));
}

ChildProcess::~ChildProcess() {
  if (pid_ == -1) return;
  endGroup();
  reap();
}

int ChildProcess::wait(Clock::time_point deadline) {
  const bool ended = ready(process_.get(), deadline);
  if (!ended) endGroup();
  const int status = reap();
  if (ended) return status;
  return signals_.pending() ? kInterrupted : kTimedOut;
}

bool ChildProcess::ready(int descriptor, Clock::time_point deadline) const {
  return readable({descriptor, signals_.descriptor()}, deadline) == 0;
}

// The index of the first descriptor that has something, or none's.
std::size_t ChildProcess::readable(std::array<int, 2> descriptors, Clock::time_point deadline) {
  std::array<pollfd, 2> entries{{{descriptors[0], POLLIN, 0}, {descriptors[1], POLLIN, 0}}};
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    const int count =
        ::poll(entries.data(), entries.size(), static_cast<int>(std::max<long>(left.count(), 0)));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return entries.size();
    return entries[1].revents != 0 ? 1 : 0;
  }
}

void ChildProcess::endGroup() const noexcept {
  ::kill(-pid_, SIGTERM);
  readable({process_.get(), -1}, Clock::now() + kGrace);
}

int ChildProcess::reap() noexcept {
  constexpr int kSignalled = 128;
  int status = 0;
  // What the program left behind; its own id is taken until it has been waited for.
  ::kill(-pid_, SIGKILL);
  while (::waitpid(pid_, &status, 0) == -1 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
}

int spawnfv(const std::vector<std::string>& arguments) {
  try {
    const std::chrono::milliseconds limit(Props().getLimitMs(PN::SUPPORT_COMMAND_TIMEOUT));
    const int status = ChildProcess(arguments).wait(Clock::now() + limit);
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
