// Lock file, socket and what the service manager is told, on a real file system.
#include "velkd/listener.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <future>

#include "tests/support/raw_caller.h"
#include "tests/unit/tolk/base/child_process.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"
#include "velkd/instance_lock.h"
#include "velkd/notify.h"
#include "velkd/watchdog.h"

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

TEST(InstanceLock, SecondInstanceIsToldWhoHoldsItAndTheFileGoesWithTheFirst) {
  const ScratchDirectory scratch;
  const std::string path = scratch.path("velkd.lock");
  fs::create_symlink("service/real.lock", path);  // the service manager's directory, not made yet
  {
    const InstanceLock lock(path);
    EXPECT_EQ(modeOf(scratch.path("service/real.lock")), 0600U);
  }
  EXPECT_FALSE(fs::exists(path));
  scratch.write("service/real.lock", "");
  const ChildProcess daemon([&] { takeRecordLock(path); });
  EXPECT_EQ(failureOf([&] { InstanceLock{path}; }),
            "velkd runs already: process " + std::to_string(daemon.pid()) + " holds " + path);
}

TEST(InstanceLock, AnotherUsersLockOnAnOldFileStopsNothing) {
  const ScratchDirectory scratch;
  const std::string path = scratch.write("velkd.lock", "");
  const ChildProcess stranger([&] { takeRecordLock(path, F_SETLK, F_RDLCK); });
  const InstanceLock lock(path);
  EXPECT_EQ(modeOf(path), 0600U);
}

/// What a service manager hears on its socket.
class Manager {
 public:
  explicit Manager(const std::string& name) : socket_(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    if (name.front() == '@') address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
  }
  ~Manager() { ::unsetenv("NOTIFY_SOCKET"); }

  [[nodiscard]] std::string next() const {
    std::array<char, 256> text{};
    const ssize_t count = ::recv(socket_.get(), text.data(), text.size(), MSG_DONTWAIT);
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }

 private:
  tolk::UniqueFd socket_;
};

TEST(Notify, TellsTheServiceManagerByPathOrAbstractName) {
  const ScratchDirectory scratch;
  for (const std::string& name : {scratch.path("notify"), "@" + scratch.path("abstract")}) {
    const Manager manager(name);
    notifyServiceManager("READY=1");
    EXPECT_EQ(manager.next(), "READY=1") << name;
  }
}

TEST(Watchdog, IsFedWhileTheWorkerGetsOn) {
  const ScratchDirectory scratch;
  const Manager manager(scratch.path("notify"));
  std::promise<void> go;
  Worker worker(Places(1, 0), [] { return Worker::Clock::now() + std::chrono::hours(1); });
  EXPECT_EQ(Watchdog(worker).fd(), -1) << "nobody has asked for signs";
  ::setenv("WATCHDOG_USEC", "200000", 1);
  Watchdog watchdog(worker);
  ::unsetenv("WATCHDOG_USEC");
  const auto beat = [&watchdog] {
    pollfd one{watchdog.fd(), POLLIN, 0};
    EXPECT_EQ(::poll(&one, 1, 20000), 1);
    watchdog.beat();
  };
  beat();
  EXPECT_EQ(manager.next(), "WATCHDOG=1");
  ASSERT_TRUE(worker.post(kRoot, [&go] { go.get_future().wait(); }));
  for (int i = 0; i < 4; ++i) beat();  // a job of 200 ms is none that hangs
  std::string last;
  for (std::string word = manager.next(); !word.empty(); word = manager.next()) last = word;
  EXPECT_EQ(last, "STATUS=The work with the directory hangs.");
  go.set_value();
  EXPECT_TRUE(worker.stop(std::chrono::seconds(20)));
}

}  // namespace
}  // namespace velkd
