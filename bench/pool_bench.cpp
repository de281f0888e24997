// Loans of transfers from the connection pool, beside a locked list of bare handles.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <mutex>
#include <vector>

#include "cloud/http/cloud_conn_pool.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace {

constexpr int kMostThreads = 64;

/// The pool's limits, for as many borrowers as there are threads here.
tolk::CloudConnPool& pool() {
  static const bool configured = [] {
    tolk::Props().set(tolk::PN::TOLKD_MAX_CLIENT_THREADS, std::to_string(kMostThreads));
    tolk::Props().set(tolk::PN::VELKD_CLOUD_AUTH_CONN_MAX, std::to_string(kMostThreads));
    return true;
  }();
  benchmark::DoNotOptimize(configured);
  return tolk::CloudConnPool::getInstance();
}

void poolLoans(benchmark::State& state) {
  tolk::CloudConnPool& transfers = pool();
  for (auto _ : state) {
    const auto transfer = transfers.getCurl("user", "program", {});
    transfers.releaseCurl(transfer.get());
  }
  state.SetItemsProcessed(state.iterations());
}

/// What the least of such a pool would be: no limits, no proxy, nothing taken off a user's traces.
class BareHandles {
 public:
  CURL* take() {
    const std::lock_guard lock(mutex_);
    if (idle_.empty()) return curl_easy_init();
    CURL* handle = idle_.back();
    idle_.pop_back();
    return handle;
  }
  void giveBack(CURL* handle) {
    const std::lock_guard lock(mutex_);
    idle_.push_back(handle);
  }

 private:
  std::mutex mutex_;
  std::vector<CURL*> idle_;
};

void bareLoans(benchmark::State& state) {
  static BareHandles handles;
  for (auto _ : state) {
    CURL* handle = handles.take();
    benchmark::DoNotOptimize(handle);
    handles.giveBack(handle);
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(poolLoans)->Threads(1)->Threads(8)->Threads(kMostThreads)->UseRealTime();
BENCHMARK(bareLoans)->Threads(1)->Threads(8)->Threads(kMostThreads)->UseRealTime();

}  // namespace
