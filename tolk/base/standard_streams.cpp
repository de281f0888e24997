// A descriptor that is closed is opened on /dev/null in the wrong direction, so that its use
// fails.
#include "tolk/base/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace tolk {
namespace {

// In the wrong direction, so that reading or writing it is an error (EBADF) and not silence.
void openWhenClosed(int fd, int direction) noexcept {
  if (::fcntl(fd, F_GETFD) != -1) return;
  const int opened = ::open("/dev/null", direction);
  if (opened == -1 || opened == fd) return;
  ::dup2(opened, fd);
  ::close(opened);
}

}  // namespace

void holdStandardStreams() noexcept {
  openWhenClosed(STDIN_FILENO, O_WRONLY);
  openWhenClosed(STDOUT_FILENO, O_RDONLY);
  openWhenClosed(STDERR_FILENO, O_RDONLY);
}

}  // namespace tolk
