// A process beside the test, and the record lock that it may hold.
#pragma once

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>

/// Does its work, which may be to become another program, and then waits until it is killed. It
/// does not outlive the test.
class ChildProcess {
 public:
  /// Returns when the work is done.
  explicit ChildProcess(const std::function<void()>& work) {
    int ready[2];
    if (::pipe2(ready, O_CLOEXEC) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      work();
      (void)!::write(ready[1], "x", 1);
      for (;;) ::pause();
    }
    ::close(ready[1]);
    char byte = 0;
    (void)!::read(ready[0], &byte, 1);
    ::close(ready[0]);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  [[nodiscard]] pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
};

/// Locks the whole file for as long as the process lives; `command` and `type` as in fcntl(2).
inline void takeRecordLock(const std::string& path, int command = F_SETLK, short type = F_WRLCK) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  if (::fcntl(::open(path.c_str(), O_RDWR), command, &lock) != 0) ::_exit(1);
}
