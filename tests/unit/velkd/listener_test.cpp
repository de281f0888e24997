// Lock file, socket and readiness notice on a real file system.
#include "velkd/listener.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

#include "tests/support/raw_caller.h"
#include "tests/unit/tolk/base/child_process.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"
#include "velkd/notify.h"

namespace velkd {
namespace {

namespace fs = std::filesystem;

unsigned modeOf(const std::string& path) {
  return static_cast<unsigned>(fs::status(path).permissions());
}

std::string failureOf(const std::function<void()>& act) {
  try {
    act();
  } catch (const tolk::IOException& e) {
    return e.what();
  }
  return "no failure";
}

TEST(Listener, MakesItsDirectoryAndSocketForEverybodyWhateverTheUmask) {
  const ScratchDirectory scratch;
  const mode_t before = ::umask(077);
  {
    const Listener listener(scratch.path("orvald/daemon"));
    EXPECT_EQ(modeOf(scratch.path("orvald")), 0755U);
    EXPECT_EQ(modeOf(scratch.path("orvald/daemon")), 0755U);
    EXPECT_EQ(modeOf(scratch.path("orvald/daemon/velkd.sock")), 0666U);
  }
  ::umask(before);
  EXPECT_FALSE(fs::exists(scratch.path("orvald/daemon/velkd.sock")));
}

TEST(Listener, ReplacesAStaleSocketAndNothingElse) {
  const ScratchDirectory scratch;
  const std::string path = scratch.path("daemon/velkd.sock");
  fs::create_directory(scratch.path("daemon"));
  (void)joinscope::test::unixSocket(::bind, path);
  {
    Listener listener(scratch.path("daemon"));
    joinscope::test::RawCaller reachesIt(path);
  }
  scratch.write("daemon/velkd.sock", "somebody's notes");
  EXPECT_EQ(failureOf([&] { Listener(scratch.path("daemon")); }), path + " is in the way");
  EXPECT_TRUE(fs::exists(path));
}

TEST(Listener, RefusesADirectoryThatOthersMayWriteTo) {
  const ScratchDirectory scratch;
  const std::string directory = scratch.path("daemon");
  fs::create_directory(directory);
  fs::permissions(directory, fs::perms(0777));
  EXPECT_EQ(failureOf([&] { Listener{directory}; }),
            directory + " is no directory of this user's alone");
  fs::create_directory_symlink("/usr", scratch.path("link"));
  EXPECT_EQ(failureOf([&] { Listener{scratch.path("link")}; }),
            scratch.path("link") + " is no directory of this user's alone");
}

TEST(InstanceLock, SecondInstanceIsToldWhoHoldsIt) {
  const ScratchDirectory scratch;
  const std::string path = scratch.path("velkd.lock");
  {
    const InstanceLock lock(path);
    EXPECT_EQ(modeOf(path), 0644U);
  }
  const ChildProcess daemon([&] { takeRecordLock(path); });
  EXPECT_EQ(failureOf([&] { InstanceLock{path}; }),
            "velkd runs already: process " + std::to_string(daemon.pid()) + " holds " + path);
}

TEST(Notify, TellsTheServiceManagerByPathOrAbstractName) {
  const ScratchDirectory scratch;
  for (const std::string& name : {scratch.path("notify"), "@" + scratch.path("abstract")}) {
    SCOPED_TRACE(name);
    const tolk::UniqueFd manager(::socket(AF_UNIX, SOCK_DGRAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    if (name.front() == '@') address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    ASSERT_EQ(::bind(manager.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
    notifyServiceManager("READY=1");
    std::array<char, 64> text{};
    const ssize_t count = ::recv(manager.get(), text.data(), text.size(), MSG_DONTWAIT);
    EXPECT_EQ(std::string_view(text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))),
              "READY=1");
  }
  ::unsetenv("NOTIFY_SOCKET");
}

}  // namespace
}  // namespace velkd
