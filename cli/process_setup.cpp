// Descriptors, signals and the end of standard output.
#include "cli/process_setup.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <iostream>

#include "cli/common/exit_status.h"
#include "tolk/base/shredder.h"

namespace joinscope {
namespace {

// In the wrong direction, so that reading or writing it is an error (EBADF) and not silence.
void openWhenClosed(int fd, int direction) {
  if (::fcntl(fd, F_GETFD) != -1) return;
  const int opened = ::open("/dev/null", direction);
  if (opened == -1 || opened == fd) return;
  ::dup2(opened, fd);
  ::close(opened);
}

bool readerHasGone() {
  pollfd entry{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
  return ::poll(&entry, 1, 0) == 1 && (entry.revents & POLLERR) != 0;
}

}  // namespace

void prepareProcess() {
  tolk::forbidCoreDumps();
  openWhenClosed(STDIN_FILENO, O_WRONLY);
  openWhenClosed(STDOUT_FILENO, O_RDONLY);
  openWhenClosed(STDERR_FILENO, O_RDONLY);
  // A handler, unlike SIG_IGN, is not inherited by the programs that reports start (signal(7)).
  struct sigaction action {};
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGPIPE, &action, nullptr);
}

int finishOutput(int status) {
  std::cout.flush();
  if (std::cout.good()) return status;
  if (!readerHasGone()) std::cerr << "Error: Cannot write to standard output\n";
  return status == exit_status::kSuccess ? exit_status::kMiscError : status;
}

}  // namespace joinscope
