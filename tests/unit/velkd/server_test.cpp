// The poll loop with real sockets: good callers get their answers whatever the bad ones do.
#include "velkd/server.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <functional>
#include <list>
#include <thread>

#include "tests/support/raw_caller.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"
#include "velkd/listener.h"

namespace velkd {
namespace {

using joinscope::test::framed;
using joinscope::test::RawCaller;

constexpr std::chrono::hours kForEver{1};
constexpr std::chrono::milliseconds kSoon{100};

ServerLimits patient() {
  return {
      .rootMessageBytes = 4096, .userMessageBytes = 4096, .idle = kForEver, .transfer = kForEver};
}

/// A server on a thread of its own. It answers a call with "re: " and the call, takes "junk" for no
/// call, gives a large answer to "much", takes its time for "slow", and leaves "later" to the test,
/// and "soon" for a short time only.
class RunningServer {
 public:
  explicit RunningServer(const ServerLimits& limits)
      : listener_(directory_.path("daemon")),
        server_(
            listener_.takeSocket(), [this](const Request& r) { return answer(r); }, mailbox_,
            limits),
        thread_([this] {
          server_.run({{stop_.get(), [] { return false; }}});
        }) {}
  RunningServer(const RunningServer&) = delete;
  RunningServer& operator=(const RunningServer&) = delete;
  ~RunningServer() {
    ::eventfd_write(stop_.get(), 1);
    thread_.join();
  }

  [[nodiscard]] std::string path() const { return directory_.path("daemon/velkd.sock"); }
  Mailbox& mailbox() { return mailbox_; }
  /// The connection of the call "later".
  ConnectionId waitForLater() {
    eventfd_t id = 0;
    EXPECT_EQ(::eventfd_read(later_.get(), &id), 0);
    return id;
  }

 private:
  Outcome answer(const Request& request) {
    if (request.text == "junk") throw tolk::BadDataException("no call");
    if (request.text == "much") return std::string(std::size_t{4} << 20U, 'x');
    if (request.text == "slow") std::this_thread::sleep_for(std::chrono::milliseconds(2));
    if (request.text != "later" && request.text != "soon") return "re: " + request.text;
    ::eventfd_write(later_.get(), request.connection);
    if (request.text == "later") return Outcome(Patience{});
    return Outcome(Patience{.end = Clock::now() + kSoon, .answer = [] { return "too late"; }});
  }

  ScratchDirectory directory_;
  tolk::UniqueFd stop_{::eventfd(0, EFD_CLOEXEC)};
  tolk::UniqueFd later_{::eventfd(0, EFD_CLOEXEC)};
  Mailbox mailbox_;
  Listener listener_;
  Server server_;
  std::thread thread_;
};

TEST(Server, AnswersInOrderHoweverTheBytesCome) {
  RunningServer server(patient());
  RawCaller caller(server.path());
  ASSERT_TRUE(caller.send(framed("one") + framed("two") + "th"));
  EXPECT_EQ(caller.receive(), "re: one");
  EXPECT_EQ(caller.receive(), "re: two");
  for (const char* piece : {"r", "e", "e"}) ASSERT_TRUE(caller.send(piece));
  ASSERT_TRUE(caller.send(framed("")));
  EXPECT_EQ(caller.receive(), "re: three");
  ASSERT_TRUE(caller.send(framed("last")));
  caller.endSending();
  EXPECT_EQ(caller.receive(), "re: last");
  EXPECT_EQ(caller.receive(), "<closed>");
}

TEST(Server, WhatIsNoCallCostsThatConnectionOnly) {
  RunningServer server(patient());
  RawCaller good(server.path());
  struct Row {
    const char* what;
    std::string bytes;
  };
  for (const Row& row : {Row{"not a call", framed("junk")},
                         Row{"too large", std::string(std::size_t{1} << 17U, 'x')}}) {
    SCOPED_TRACE(row.what);
    RawCaller bad(server.path());
    bad.flood(row.bytes);
    EXPECT_EQ(bad.receive(), "<closed>");
    ASSERT_TRUE(good.send(framed("hello")));
    EXPECT_EQ(good.receive(), "re: hello");
  }
}

TEST(Server, CallersThatAreTooSlowAreDropped) {
  struct Row {
    const char* what;
    ServerLimits limits;
    std::string bytes;
  };
  ServerLimits idle = patient();
  idle.idle = kSoon;
  ServerLimits transfer = patient();
  transfer.transfer = kSoon;
  for (const Row& row : {Row{"no call", idle, ""}, Row{"half a call", transfer, "hal"}}) {
    SCOPED_TRACE(row.what);
    RunningServer server(row.limits);
    RawCaller caller(server.path());
    if (!row.bytes.empty()) {
      ASSERT_TRUE(caller.send(row.bytes));
    }
    EXPECT_EQ(caller.receive(), "<closed>");
  }
}

TEST(Server, CallerThatDoesNotReadBlocksNobodyAndIsDropped) {
  ServerLimits limits = patient();
  limits.transfer = kSoon;
  RunningServer server(limits);
  RawCaller deaf(server.path());
  ASSERT_TRUE(deaf.send(framed("much")));
  deaf.flood(framed("more"));
  RawCaller good(server.path());
  ASSERT_TRUE(good.send(framed("hello")));
  EXPECT_EQ(good.receive(), "re: hello");
  EXPECT_TRUE(deaf.isClosed());
}

TEST(Server, LargeAnswerArrivesWhole) {
  RunningServer server(patient());
  RawCaller caller(server.path());
  ASSERT_TRUE(caller.send(framed("much")));
  EXPECT_EQ(caller.receive().size(), std::size_t{4} << 20U);
  ASSERT_TRUE(caller.send(framed("after")));
  EXPECT_EQ(caller.receive(), "re: after");
}

TEST(Server, LateAnswersReachTheirCallerOrNobody) {
  RunningServer server(patient());
  RawCaller waiting(server.path());
  ASSERT_TRUE(waiting.send(framed("later") + framed("next")));
  const ConnectionId id = server.waitForLater();
  ConnectionId goneId = 0;
  {
    RawCaller gone(server.path());
    ASSERT_TRUE(gone.send(framed("later")));
    goneId = server.waitForLater();
  }
  server.mailbox().post({.connection = goneId, .call = 1, .text = "for nobody"});
  server.mailbox().post({.connection = id, .call = 1, .text = "at last"});
  EXPECT_EQ(waiting.receive(), "at last");
  EXPECT_EQ(waiting.receive(), "re: next");
}

TEST(Server, AnswerThatIsTooLateIsNotTakenForThatOfTheNextCall) {
  RunningServer server(patient());
  RawCaller caller(server.path());
  ASSERT_TRUE(caller.send(framed("soon") + framed("later")));
  const ConnectionId id = server.waitForLater();
  EXPECT_EQ(caller.receive(), "too late");
  (void)server.waitForLater();
  server.mailbox().post({.connection = id, .call = 1, .text = "first"});
  server.mailbox().post({.connection = id, .call = 2, .text = "second"});
  EXPECT_EQ(caller.receive(), "second");
}

TEST(Server, FiveHundredCallersAtOnce) {
  RunningServer server(patient());
  std::list<RawCaller> callers;
  for (int i = 0; i < 500; ++i) callers.emplace_back(server.path());
  int n = 0;
  for (RawCaller& caller : callers) ASSERT_TRUE(caller.send(framed(std::to_string(n++))));
  n = 0;
  for (RawCaller& caller : callers) ASSERT_EQ(caller.receive(), "re: " + std::to_string(n++));
}

TEST(Server, OneMoreThanAllowedWaitsForAPlace) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user's is refused";
  ServerLimits limits = patient();
  limits.connections = 2;
  limits.keptForRoot = 0;
  RunningServer server(limits);
  RawCaller first(server.path());
  std::optional<RawCaller> second(server.path());
  ASSERT_TRUE(first.send(framed("1")));
  ASSERT_TRUE(second->send(framed("2")));
  EXPECT_EQ(first.receive(), "re: 1");
  EXPECT_EQ(second->receive(), "re: 2");
  RawCaller third(server.path());
  ASSERT_TRUE(third.send(framed("3")));
  second.reset();
  EXPECT_EQ(third.receive(), "re: 3");
}

// Connects as another user: the system call changes this thread only.
void asNobody(const std::function<void()>& act) {
  std::thread([&act] {
    constexpr uid_t kNobody = 65534;
    ASSERT_EQ(::syscall(SYS_setresuid, -1, kNobody, -1), 0);
    act();
  }).join();
}

TEST(Server, OneUserCannotTakeAllPlaces) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
  ServerLimits limits = patient();
  limits.connections = 3;
  limits.keptForRoot = 1;
  limits.userMessageBytes = 8;
  ScratchDirectory unused;
  RunningServer server(limits);
  ASSERT_EQ(::chmod(server.path().substr(0, server.path().rfind("/daemon")).c_str(), 0755), 0);
  asNobody([&server] {
    RawCaller first(server.path());
    EXPECT_TRUE(first.send(framed("1")));
    EXPECT_EQ(first.receive(), "re: 1");
    RawCaller second(server.path());
    EXPECT_EQ(second.receive(), "<closed>");
    EXPECT_TRUE(first.send(framed("more than 8")));
    EXPECT_EQ(first.receive(), "<closed>");
  });
  RawCaller root(server.path());
  ASSERT_TRUE(root.send(framed("more than 8")));
  EXPECT_EQ(root.receive(), "re: more than 8");
}

TEST(Server, RootDoesNotWaitForAnotherUsersCalls) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
  RunningServer server(patient());
  ASSERT_EQ(::chmod(server.path().substr(0, server.path().rfind("/daemon")).c_str(), 0755), 0);
  std::list<RawCaller> callers;
  std::string calls;
  for (int i = 0; i < 100; ++i) calls += framed("slow");
  asNobody([&] {  // ten seconds of work
    for (int i = 0; i < 50; ++i) callers.emplace_back(server.path()).flood(calls);
  });
  const auto start = Clock::now();
  RawCaller root(server.path());
  ASSERT_TRUE(root.send(framed("hello")));
  EXPECT_EQ(root.receive(), "re: hello");
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
}  // namespace velkd
