// The daemon's lock file.
#include "tolk/base/lock_file.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tolk/base/handle.h"

namespace {

constexpr pid_t kNobody = 0;
constexpr pid_t kUnknown = -1;

struct flock wholeFile() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

// Asks who is in the way of a write lock; works on a descriptor that is open for reading only, too.
pid_t holderOf(int fd) {
  struct flock lock = wholeFile();
  if (::fcntl(fd, F_GETLK, &lock) != 0) return kUnknown;
  if (lock.l_type == F_UNLCK) return kNobody;
  // Held, but the kernel has no process id for us: an open-file-description lock gives -1, a holder
  // outside this PID namespace 0.
  return lock.l_pid > 0 ? lock.l_pid : kUnknown;
}

// Takes the lock or names its holder. A holder that lets go between the two questions is asked for
// again.
pid_t takeOrNameHolder(int fd) {
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    struct flock lock = wholeFile();
    if (::fcntl(fd, F_SETLK, &lock) == 0) return kNobody;
    if (errno != EAGAIN && errno != EACCES) return kUnknown;
    if (const pid_t holder = holderOf(fd); holder != kNobody) return holder;
  }
  return kUnknown;
}

bool isRegular(int fd) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

int OrvLock(const char* path, pid_t* holder) {
  constexpr int kFlags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  *holder = kUnknown;
  tolk::UniqueFd fd(::open(path, O_RDWR | kFlags));
  const bool writable = static_cast<bool>(fd);
  if (!writable && (errno == EACCES || errno == EPERM || errno == EROFS)) {
    fd.reset(::open(path, O_RDONLY | kFlags));
  }
  if (!fd) {
    if (errno != ENOENT) return -1;
    *holder = kNobody;
    return ::eventfd(0, EFD_CLOEXEC);  // nothing to lock: a descriptor that OrvUnlock can close
  }
  if (!isRegular(fd.get())) return -1;
  *holder = writable ? takeOrNameHolder(fd.get()) : holderOf(fd.get());
  return fd.release();
}

void OrvUnlock(int fd) {
  if (fd < 0) return;
  struct flock lock {};
  lock.l_type = F_UNLCK;
  lock.l_whence = SEEK_SET;
  (void)::fcntl(fd, F_SETLK, &lock);
  ::close(fd);
}
