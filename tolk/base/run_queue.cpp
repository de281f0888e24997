// Work in the background.
#include "tolk/base/run_queue.h"

#include <pthread.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <map>
#include <random>
#include <thread>
#include <vector>

#include "tolk/base/logger.h"

namespace tolk {
namespace {

using Clock = std::chrono::steady_clock;

struct Registry {
  std::mutex mutex;
  std::map<std::string, std::shared_ptr<RunQueue>> queues;

  static Registry& instance() {
    static Registry registry;
    return registry;
  }
};

const Logger& logger() {
  return Logger::GetThreadPrivateLogger("base.runqueue");
}

void nameThread(const std::string& name) {
  constexpr std::size_t kMaxName = 15;  // pthread_setname_np(3)
  if (name.empty()) return;
  (void)::pthread_setname_np(::pthread_self(), name.substr(0, kMaxName).c_str());
}

void runItem(QueueAble& item, const std::string& queueName) noexcept {
  nameThread(item.getLoggingThreadName());
  try {
    item.run();
  } catch (const std::exception& e) {
    logger().log(LogLevel::error, item.getID() + " failed: " + e.what());
  }
  nameThread(queueName);
}

std::chrono::seconds pauseOf(const QueueAble& item) {
  const long spread = std::max(0L, item.getRandomDelay());
  static thread_local std::minstd_rand random(std::random_device{}());
  std::uniform_int_distribution<long> choose(0, spread);
  return std::chrono::seconds(std::max(0L, item.getTimeout()) + choose(random));
}

}  // namespace

struct RunQueue::State {
  struct Waiting {
    Clock::time_point due;
    std::shared_ptr<QueueAble> item;
  };

  explicit State(std::string queueName) : name(std::move(queueName)) {}

  bool add(std::shared_ptr<QueueAble> item, std::chrono::milliseconds delay);
  void addAgain(const std::shared_ptr<QueueAble>& item);
  std::vector<Waiting>::iterator sameAs(const QueueAble& item);
  void work();
  bool runNext(std::unique_lock<std::mutex>& lock);

  const std::string name;
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<Waiting> waiting;  // in the order of their coming
  int busy = 0;
  bool stopped = false;
};

std::vector<RunQueue::State::Waiting>::iterator RunQueue::State::sameAs(const QueueAble& item) {
  return std::find_if(waiting.begin(), waiting.end(), [&item](const Waiting& other) {
    return other.item->getID() == item.getID();
  });
}

bool RunQueue::State::add(std::shared_ptr<QueueAble> item, std::chrono::milliseconds delay) {
  if (stopped) return false;
  if (item->dedupMe()) {
    const auto same = sameAs(*item);
    if (same != waiting.end() && item->keepQueuedItem()) return false;
    if (same != waiting.end()) waiting.erase(same);
  }
  waiting.push_back({.due = Clock::now() + delay, .item = std::move(item)});
  changed.notify_one();
  return true;
}

// An item that was asked for while this one ran is due sooner, and comes again by itself.
void RunQueue::State::addAgain(const std::shared_ptr<QueueAble>& item) {
  if (item->dedupMe() && sameAs(*item) != waiting.end()) return;
  add(item, pauseOf(*item));
}

// Runs the item that is due longest; false when none is.
bool RunQueue::State::runNext(std::unique_lock<std::mutex>& lock) {
  const auto next = std::min_element(waiting.begin(), waiting.end(),
                                     [](const auto& a, const auto& b) { return a.due < b.due; });
  if (next == waiting.end() || next->due > Clock::now()) return false;
  const std::shared_ptr<QueueAble> item = std::move(next->item);
  waiting.erase(next);
  ++busy;
  lock.unlock();
  runItem(*item, name);
  if (item->periodic()) item->updateTimeout();
  lock.lock();
  --busy;
  // updateTimeout() may have ended it.
  if (item->periodic()) addAgain(item);
  changed.notify_all();
  return true;
}

void RunQueue::State::work() {
  nameThread(name);
  std::unique_lock lock(mutex);
  while (!stopped) {
    if (runNext(lock)) continue;
    if (waiting.empty()) {
      changed.wait(lock);
      continue;
    }
    const auto due =
        std::min_element(waiting.begin(), waiting.end(), [](const auto& a, const auto& b) {
          return a.due < b.due;
        })->due;
    changed.wait_until(lock, due);
  }
}

RunQueue::RunQueue(const std::string& name, int threads) : state_(std::make_shared<State>(name)) {
  for (int i = 0; i < std::max(1, threads); ++i) {
    std::thread([state = state_] { state->work(); }).detach();
  }
}

RunQueue::~RunQueue() {
  (void)stop(std::chrono::milliseconds(0));
}

bool RunQueue::queue(std::shared_ptr<QueueAble> item, std::chrono::milliseconds delay) {
  const std::lock_guard lock(state_->mutex);
  return state_->add(std::move(item), delay);
}

bool RunQueue::stop(std::chrono::milliseconds limit) {
  std::unique_lock lock(state_->mutex);
  state_->stopped = true;
  state_->waiting.clear();
  state_->changed.notify_all();
  return state_->changed.wait_for(lock, limit, [this] { return state_->busy == 0; });
}

std::shared_ptr<RunQueue> RunQueue::getRunQueue(const std::string& name, bool create, int threads) {
  Registry& registry = Registry::instance();
  const std::lock_guard lock(registry.mutex);
  const auto known = registry.queues.find(name);
  if (known != registry.queues.end()) return known->second;
  if (!create) return nullptr;
  std::shared_ptr<RunQueue> made(new RunQueue(name, threads));
  registry.queues.emplace(name, made);
  return made;
}

bool RunQueue::shutdown(std::chrono::milliseconds limit) {
  std::map<std::string, std::shared_ptr<RunQueue>> queues;
  {
    Registry& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    queues.swap(registry.queues);
  }
  const Clock::time_point end = Clock::now() + limit;
  bool idle = true;
  for (const auto& [name, queue] : queues) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    idle = queue->stop(std::max(left, std::chrono::milliseconds(0))) && idle;
  }
  return idle;
}

}  // namespace tolk
