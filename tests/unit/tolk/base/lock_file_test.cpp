// The lock probe against real holders: other processes, other kinds of lock, another PID namespace.
#include "tolk/base/lock_file.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/unit/tolk/base/child_process.h"
#include "tests/unit/tolk/base/scratch_directory.h"

namespace {

constexpr uid_t kNobody = 65534;
constexpr pid_t kCannotBeExamined = -9;

pid_t holderOf(const std::string& path) {
  pid_t holder = kCannotBeExamined;
  const int fd = OrvLock(path.c_str(), &holder);
  OrvUnlock(fd);
  return fd < 0 ? kCannotBeExamined : holder;
}

// Whether `fact` holds in a process of its own.
bool holdsInChild(const std::function<bool()>& fact) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(fact() ? 0 : 1);
  int status = 0;
  ::waitpid(pid, &status, 0);
  return status == 0;
}

bool become(uid_t user) {
  return ::setresuid(user, user, user) == 0;
}

class LockFile : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::permissions(directory_.path(), std::filesystem::perms(0755));
  }

  ScratchDirectory directory_;
  std::string path_ = directory_.write("velkd.lock", "");
};

TEST_F(LockFile, FreeLockIsTakenAndGivenBack) {
  pid_t holder = kCannotBeExamined;
  const int fd = OrvLock(path_.c_str(), &holder);
  EXPECT_EQ(holder, 0);
  EXPECT_TRUE(holdsInChild([&] { return holderOf(path_) == ::getppid(); }));
  OrvUnlock(fd);
  EXPECT_TRUE(holdsInChild([&] { return holderOf(path_) == 0; }));
}

TEST_F(LockFile, HolderIsNamedWhereTheSystemKnowsIt) {
  {
    const ChildProcess daemon([&] { takeRecordLock(path_); });
    EXPECT_EQ(holderOf(path_), daemon.pid());
  }
  const ChildProcess other([&] { takeRecordLock(path_, F_OFD_SETLK); });
  EXPECT_EQ(holderOf(path_), -1);
}

TEST_F(LockFile, MissingFileIsFreeAndOtherThanFilesCannotBeExamined) {
  const std::string absent = directory_.path("absent");
  EXPECT_EQ(holderOf(absent), 0);
  EXPECT_FALSE(std::filesystem::exists(absent));
  const std::string fifo = directory_.path("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& path : {directory_.path(), path_ + "/below", fifo}) {
    EXPECT_EQ(holderOf(path), kCannotBeExamined) << path;
  }
}

TEST_F(LockFile, HolderOutsideThePidNamespaceIsUnknown) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to make a PID namespace";
  const ChildProcess daemon([&] { takeRecordLock(path_); });
  for (const uid_t user : {uid_t{0}, kNobody}) {  // the second may only read the file
    EXPECT_TRUE(holdsInChild([&] {
      return ::unshare(CLONE_NEWPID) == 0 &&
             holdsInChild([&] { return become(user) && holderOf(path_) == -1; });
    })) << user;
  }
}

TEST_F(LockFile, ReaderOfTheFileSeesTheHolderAndTakesNothing) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
  const auto seenByNobody = [&](pid_t holder) {
    return holdsInChild([&] { return become(kNobody) && holderOf(path_) == holder; });
  };
  ASSERT_EQ(::chmod(path_.c_str(), 0644), 0);
  EXPECT_TRUE(seenByNobody(0));
  const ChildProcess daemon([&] { takeRecordLock(path_); });
  EXPECT_TRUE(seenByNobody(daemon.pid()));
  ASSERT_EQ(::chmod(path_.c_str(), 0600), 0);
  EXPECT_TRUE(seenByNobody(kCannotBeExamined));
}

}  // namespace
