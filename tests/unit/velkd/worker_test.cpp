// The worker's thread, and what its upkeep goes by: cache, pauses, ranges.
#include "velkd/worker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "velkd/domain_ranges.h"
#include "velkd/object_cache.h"
#include "velkd/reconnect_pause.h"

namespace velkd {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

Clock::time_point inAnHour() {
  return Clock::now() + 1h;
}

const Places kOnePlace(1, 0);

TEST(Worker, RunsUpkeepAtOnceAndWhenWokenBeforeTheJobsThatWait) {
  std::atomic<int> rounds{0};
  Worker worker(kOnePlace, [&rounds] {
    ++rounds;
    return inAnHour();
  });
  std::promise<int> seen;
  ASSERT_TRUE(worker.post(kRoot, [&] {
    worker.wake();
    EXPECT_TRUE(worker.post(kRoot, [&] { seen.set_value(rounds); }));
  }));
  EXPECT_EQ(seen.get_future().get(), 2);
  EXPECT_TRUE(worker.stop(20s));
}

TEST(Worker, QueueIsBoundedAndClosedAfterTheEnd) {
  std::promise<void> started;
  std::promise<void> go;
  Worker worker(kOnePlace, inAnHour);
  ASSERT_TRUE(worker.post(kRoot, [&] {
    started.set_value();
    go.get_future().wait();
  }));
  started.get_future().wait();
  bool second = false;
  EXPECT_TRUE(worker.post(kRoot, [&second] { second = true; }));
  EXPECT_FALSE(worker.post(kRoot, [] {})) << "one job may wait";
  EXPECT_TRUE(worker.advances(1h));
  EXPECT_FALSE(worker.advances(0ms)) << "the first job takes longer";
  EXPECT_FALSE(worker.stop(0ms)) << "the first job is not done";
  go.set_value();
  EXPECT_TRUE(worker.stop(20s));
  EXPECT_FALSE(second) << "nothing is started after stop()";
  EXPECT_FALSE(worker.post(kRoot, [] {}));
}

TEST(Worker, UpkeepOfManyStepsLetsCallersIn) {
  std::promise<void> go;
  int steps = 0;
  Worker worker(Places(2, 0), [&] {
    if (++steps == 1) go.get_future().wait();
    return steps < 100 ? Clock::time_point() : inAnHour();
  });
  std::promise<int> second;
  ASSERT_TRUE(worker.post(kRoot, [] {}));
  ASSERT_TRUE(worker.post(kRoot, [&] { second.set_value(steps); }));
  go.set_value();
  EXPECT_EQ(second.get_future().get(), 2);
}

TEST(FairQueue, UsersTakeTurnsAndRootHasEveryOther) {
  FairQueue queue(Places(100, 10));
  std::string order;
  const auto add = [&](uid_t user, int jobs) {
    for (; jobs > 0; --jobs) {
      ASSERT_TRUE(queue.push(user, [&order, user] { order += std::to_string(user) + ' '; }));
    }
  };
  add(1500, 5);
  add(1001, 2);
  add(kRoot, 3);
  while (!queue.empty()) queue.pop()();
  EXPECT_EQ(order, "0 1001 0 1500 0 1001 1500 1500 1500 1500 ");
}

TEST(Places, AreSharedAndSomeAreKeptForRoot) {
  Places places(100, 10);
  const auto takeAll = [&places](uid_t user) {
    int taken = 0;
    while (places.take(user)) ++taken;
    return taken;
  };
  EXPECT_EQ(takeAll(1000), 45);
  EXPECT_EQ(takeAll(1001), 23);
  for (uid_t user = 2000; user < 2100; ++user) (void)takeAll(user);
  EXPECT_FALSE(places.full());
  EXPECT_EQ(takeAll(kRoot), 10);
  EXPECT_TRUE(places.full());
  places.giveBack(1000);
  EXPECT_TRUE(places.take(3000)) << "one that another user gives back";
}

TEST(ObjectCache, ForgetsWhatIsOldAndKeepsTheNewestWhenFull) {
  const Clock::time_point start{};
  ObjectCache cache;
  cache.store("a", "1", 5s, start);
  EXPECT_EQ(cache.find("a", 5s, start + 4999ms), "1");
  EXPECT_EQ(cache.find("a", 5s, start + 5s), std::nullopt);
  EXPECT_EQ(cache.find("a", 2s, start + 2s), std::nullopt) << "a shorter lifetime counts at once";
  for (std::size_t i = 0; i < ObjectCache::kMaxEntries; ++i) {
    cache.store("key " + std::to_string(i), "x", 5s, start + 1s + std::chrono::milliseconds(i));
  }
  EXPECT_EQ(cache.size(), ObjectCache::kMaxEntries);
  EXPECT_EQ(cache.find("a", 5s, start + 2s), std::nullopt) << "the oldest went";
  EXPECT_EQ(cache.find("key 255", 5s, start + 2s), "x");
  cache.store("key 255", std::string(ObjectCache::kMaxEntryBytes + 1, 'x'), 5s, start + 2s);
  EXPECT_EQ(cache.find("key 255", 5s, start + 2s), std::nullopt);
}

TEST(ReconnectPause, DoublesUpToTheLimitAndStartsAnewAfterASuccess) {
  const Clock::time_point start{};
  ReconnectPause pause;
  for (const auto expected : {500ms, 1000ms, 2000ms, 3000ms, 3000ms}) {
    pause.failed(start, 3s);
    EXPECT_EQ(pause.until() - start, expected);
  }
  pause.succeeded();
  pause.failed(start, 3s);
  EXPECT_EQ(pause.until() - start, 500ms);
}

TEST(DomainRanges, TextOfAPool) {
  EXPECT_EQ(rangeText(0x3FFFFFFF00000640ULL), "1600-1073741823");
  EXPECT_EQ(rangeText(0x0000044C0000044CULL), "1100-1100");
  EXPECT_EQ(rangeText(0x3FFFFFFF40000000ULL), "none left");
  EXPECT_EQ(rangeText(0xFFFFFFFF00000001ULL), "1-4294967295");
}

}  // namespace
}  // namespace velkd
