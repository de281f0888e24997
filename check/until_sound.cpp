// The parent has no threads and holds the report of its child in a file without a name.
#include "check/until_sound.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>

#include "check/interrupt.h"
#include "check/judgement.h"
#include "check/output.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"

namespace joinscope::check {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kKeyRefused = 0x10;  // beside the status that the child ends with

[[noreturn]] void fail(const char* what) {
  throw tolk::IOException(std::string("Cannot check again: ") + what, errno);
}

/// Waits for either; false when it was not the first.
bool firstIsReady(int first, int second, std::chrono::milliseconds limit) {
  std::array<pollfd, 2> both{{{.fd = first, .events = POLLIN, .revents = 0},
                              {.fd = second, .events = POLLIN, .revents = 0}}};
  return ::poll(both.data(), both.size(), static_cast<int>(limit.count())) > 0 &&
         both[0].revents != 0;
}

[[noreturn]] void runChild(const std::function<Checked()>& check, int report) {
  // A signal from the terminal comes through the parent, once.
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  const Checked checked = check();
  const int failure = writeWhole(report, checked.report);
  ::_exit(failure == 0 ? checked.status | (checked.keyRefused ? kKeyRefused : 0)
                       : ExitStatus::kUnknown);
}

std::string contentOf(int file) {
  std::string text(static_cast<std::size_t>(std::max<off_t>(::lseek(file, 0, SEEK_END), 0)), '\0');
  const ssize_t got = ::pread(file, text.data(), text.size(), 0);
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  return text;
}

Checked checkInChild(const std::function<Checked()>& check, Interrupt& interrupt,
                     bool& interrupted) {
  const tolk::UniqueFd report(::memfd_create("report", MFD_CLOEXEC));
  if (!report) fail("memfd_create");
  const pid_t child = ::fork();
  if (child < 0) fail("fork");
  if (child == 0) runChild(check, report.get());
  const tolk::UniqueFd ended(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
  constexpr std::chrono::milliseconds kForEver{-1};
  if (ended && !firstIsReady(ended.get(), interrupt.descriptor(), kForEver)) {
    interrupted = true;
    ::kill(child, *interrupt.take() == '\0' ? SIGTERM : SIGINT);
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  Checked checked{.report = contentOf(report.get()), .status = ExitStatus::kUnknown};
  if (!WIFEXITED(status)) return checked;
  checked.keyRefused = (WEXITSTATUS(status) & kKeyRefused) != 0;
  checked.status = WEXITSTATUS(status) & ~kKeyRefused;
  return checked;
}

}  // namespace

Checked checkUntilSound(double seconds, const std::function<Checked()>& check) {
  const auto deadline =
      Clock::now() + std::chrono::ceil<Clock::duration>(std::chrono::duration<double>(seconds));
  Interrupt interrupt;
  bool interrupted = false;
  for (;;) {
    Checked checked = checkInChild(check, interrupt, interrupted);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (checked.status <= ExitStatus::kWarning || checked.keyRefused || interrupted) return checked;
    if (left.count() <= 0) return checked;
    constexpr std::chrono::milliseconds kPause{1000};
    if (firstIsReady(interrupt.descriptor(), -1, std::min(left, kPause))) return checked;
  }
}

}  // namespace joinscope::check
