// The lock probe against real holders: other processes, other kinds of lock, another PID namespace.
#include "tolk/base/lock_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/handle.h"

namespace {

using tolk::UniqueFd;

constexpr pid_t kUntouched = -7;
constexpr uid_t kNobody = 65534;

// A process that runs `work` and then waits to be killed.
class Child {
 public:
  explicit Child(const std::function<void()>& work) {
    int ready[2];
    if (::pipe(ready) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      work();
      (void)!::write(ready[1], "x", 1);
      for (;;) ::pause();
    }
    ::close(ready[1]);
    char byte = 0;
    (void)!::read(ready[0], &byte, 1);
    ::close(ready[0]);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  [[nodiscard]] pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
};

void takeRecordLock(const std::string& path, int command) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  if (::fcntl(::open(path.c_str(), O_RDWR), command, &lock) != 0) ::_exit(1);
}

// The status of a process that returns what `work` does.
int statusOf(const std::function<int()>& work) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(work());
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WEXITSTATUS(status);
}

class LockFile : public testing::Test {
 protected:
  ScratchDirectory directory_;
  std::string path_ = directory_.write("velkd.lock", "");
  pid_t holder_ = kUntouched;
};

TEST_F(LockFile, FreeLockIsTakenAndGivenBack) {
  const int fd = OrvLock(path_.c_str(), &holder_);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(holder_, 0);
  const auto heldAgainst = [&] {
    pid_t holder = kUntouched;
    OrvUnlock(OrvLock(path_.c_str(), &holder));
    return holder == ::getppid() ? 1 : 0;
  };
  EXPECT_EQ(statusOf(heldAgainst), 1);
  OrvUnlock(fd);
  EXPECT_EQ(statusOf(heldAgainst), 0);
}

TEST_F(LockFile, HolderIsNamed) {
  const Child daemon([&] { takeRecordLock(path_, F_SETLK); });
  const int fd = OrvLock(path_.c_str(), &holder_);
  EXPECT_GE(fd, 0);
  EXPECT_EQ(holder_, daemon.pid());
  OrvUnlock(fd);
}

TEST_F(LockFile, MissingFileIsHeldByNobodyAndNotMade) {
  const std::string absent = directory_.path("absent");
  const int fd = OrvLock(absent.c_str(), &holder_);
  EXPECT_GE(fd, 0);
  EXPECT_EQ(holder_, 0);
  OrvUnlock(fd);
  EXPECT_FALSE(std::filesystem::exists(absent));
}

TEST_F(LockFile, WhatIsNoFileCannotBeExamined) {
  EXPECT_EQ(OrvLock(directory_.path().c_str(), &holder_), -1);
  EXPECT_EQ(OrvLock((path_ + "/below").c_str(), &holder_), -1);
  ASSERT_EQ(::mkfifo(directory_.path("fifo").c_str(), 0600), 0);
  EXPECT_EQ(OrvLock(directory_.path("fifo").c_str(), &holder_), -1);
  OrvUnlock(-1);
}

TEST_F(LockFile, HolderWithoutAProcessIdIsUnknown) {
  const Child other([&] { takeRecordLock(path_, F_OFD_SETLK); });
  const int fd = OrvLock(path_.c_str(), &holder_);
  EXPECT_GE(fd, 0);
  EXPECT_EQ(holder_, -1);
  OrvUnlock(fd);
}

TEST_F(LockFile, HolderOutsideThePidNamespaceIsUnknown) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to make a PID namespace";
  std::filesystem::permissions(directory_.path(), std::filesystem::perms(0755));
  const Child daemon([&] { takeRecordLock(path_, F_SETLK); });
  const auto probeInNamespace = [&](uid_t user) {
    return statusOf([&] {
      if (::unshare(CLONE_NEWPID) != 0) return 2;
      return statusOf([&] {
        if (::setresuid(user, user, user) != 0) return 3;
        pid_t holder = kUntouched;
        OrvUnlock(OrvLock(path_.c_str(), &holder));
        return holder == -1 ? 0 : 1;
      });
    });
  };
  EXPECT_EQ(probeInNamespace(0), 0);
  EXPECT_EQ(probeInNamespace(kNobody), 0);  // may only read the file
}

TEST_F(LockFile, ReaderOfTheFileSeesTheHolderAndTakesNothing) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
  std::filesystem::permissions(directory_.path(), std::filesystem::perms(0755));
  ASSERT_EQ(::chmod(path_.c_str(), 0644), 0);
  const auto probeAsReader = [&](pid_t expected) {
    return statusOf([&] {
      if (::setresuid(kNobody, kNobody, kNobody) != 0) return 2;
      pid_t holder = kUntouched;
      const int fd = OrvLock(path_.c_str(), &holder);
      OrvUnlock(fd);
      return fd >= 0 && holder == expected ? 0 : 1;
    });
  };
  EXPECT_EQ(probeAsReader(0), 0);
  const Child daemon([&] { takeRecordLock(path_, F_SETLK); });
  EXPECT_EQ(probeAsReader(daemon.pid()), 0);
  ASSERT_EQ(::chmod(path_.c_str(), 0600), 0);
  EXPECT_EQ(probeAsReader(daemon.pid()), 1);  // not even readable: cannot be examined
}

}  // namespace
