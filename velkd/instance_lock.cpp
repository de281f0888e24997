// The lock file of the one running instance.
#include "velkd/instance_lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

#include "tolk/base/exceptions.h"

namespace velkd {
namespace {

constexpr mode_t kOwnerOnly = 0600;

[[noreturn]] void fail(const std::string& what, int error) {
  throw tolk::IOException(what + ": " + std::generic_category().message(error), error);
}

struct flock wholeFile(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

/// Who holds a write lock, which takes a descriptor open for writing; 0 nobody, -1 somebody whom
/// the kernel does not name.
pid_t writerOf(int fd) {
  struct flock lock = wholeFile(F_RDLCK);
  if (::fcntl(fd, F_GETLK, &lock) != 0) return -1;
  if (lock.l_type == F_UNLCK) return 0;
  return lock.l_pid > 0 ? lock.l_pid : -1;
}

// A link into the service manager's directory leads nowhere while a service is not running.
bool makeTargetDirectory(const std::filesystem::path& link) {
  constexpr mode_t kOwnersDirectory = 0700;
  std::error_code none;
  const std::filesystem::path target = std::filesystem::read_symlink(link, none);
  if (none) return false;
  const std::filesystem::path directory = (link.parent_path() / target).parent_path();
  return ::mkdir(directory.c_str(), kOwnersDirectory) == 0;
}

}  // namespace

InstanceLock::InstanceLock(const std::string& path) : path_(path) {
  // A command may hold it for a moment, to see whether a daemon runs.
  constexpr std::chrono::milliseconds kLongest{500};
  constexpr std::chrono::milliseconds kPause{20};
  const auto end = std::chrono::steady_clock::now() + kLongest;
  while (!take()) {
    if (std::chrono::steady_clock::now() >= end) {
      const pid_t holder = writerOf(fd_.get());
      throw tolk::IOException(holder > 0 ? "velkd runs already: process " + std::to_string(holder) +
                                               " holds " + path
                                         : "Another process holds " + path);
    }
    std::this_thread::sleep_for(kPause);
  }
}

bool InstanceLock::take() {
  constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  fd_.reset(::open(path_.c_str(), kFlags, kOwnerOnly));
  if (!fd_ && errno == ENOENT && makeTargetDirectory(path_)) return false;
  if (!fd_) fail("Cannot make " + path_, errno);
  path_ = std::filesystem::canonical(path_).string();
  struct stat status {};
  if (::fstat(fd_.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    throw tolk::IOException(path_ + " is no file to lock", EINVAL);
  }
  if (::fchmod(fd_.get(), kOwnerOnly) != 0) fail("Cannot close " + path_ + " to others", errno);
  const struct flock lock = wholeFile(F_WRLCK);
  if (::fcntl(fd_.get(), F_SETLK, &lock) == 0) return isInPlace();
  if (errno != EAGAIN && errno != EACCES) fail("Cannot lock " + path_, errno);
  if (writerOf(fd_.get()) == 0 && isInPlace() && ::unlink(path_.c_str()) != 0) {
    fail("Another user's process locks " + path_ + ", which cannot be replaced", errno);
  }
  return false;
}

// An instance that ends removes the file after another one has opened it.
bool InstanceLock::isInPlace() const {
  struct stat open {};
  struct stat named {};
  return ::fstat(fd_.get(), &open) == 0 && ::lstat(path_.c_str(), &named) == 0 &&
         open.st_ino == named.st_ino && open.st_dev == named.st_dev;
}

InstanceLock::~InstanceLock() {
  if (isInPlace()) (void)::unlink(path_.c_str());
}

}  // namespace velkd
