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

TEST(Worker, RunsUpkeepAtOnceAndWhenWokenBeforeTheJobsThatWait) {
  std::atomic<int> rounds{0};
  Worker worker(1, [&rounds] {
    ++rounds;
    return inAnHour();
  });
  std::promise<int> seen;
  ASSERT_TRUE(worker.post([&] {
    worker.wake();
    EXPECT_TRUE(worker.post([&] { seen.set_value(rounds); }));
  }));
  EXPECT_EQ(seen.get_future().get(), 2);
  EXPECT_TRUE(worker.stop(20s));
}

TEST(Worker, QueueIsBoundedAndClosedAfterTheEnd) {
  std::promise<void> started;
  std::promise<void> go;
  Worker worker(1, inAnHour);
  ASSERT_TRUE(worker.post([&] {
    started.set_value();
    go.get_future().wait();
  }));
  started.get_future().wait();
  bool second = false;
  EXPECT_TRUE(worker.post([&second] { second = true; }));
  EXPECT_FALSE(worker.post([] {})) << "one job may wait";
  EXPECT_FALSE(worker.stop(0ms)) << "the first job is not done";
  go.set_value();
  EXPECT_TRUE(worker.stop(20s));
  EXPECT_FALSE(second) << "nothing is started after stop()";
  EXPECT_FALSE(worker.post([] {}));
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
