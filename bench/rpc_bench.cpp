// Round trips on the daemon's channel; run on a host where velkd serves.
#include <benchmark/benchmark.h>

#include "tolk/rpc/local_rpc_session.h"

namespace {

constexpr const char* kDaemonDirectory = "/var/orvald/daemon";

void callsOnOneSession(benchmark::State& state) {
  tolk::LocalRpcSession session(kDaemonDirectory, false, false);
  for (auto _ : state) benchmark::DoNotOptimize(session.getCurrentDC());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(callsOnOneSession)->UseRealTime();

void sessionForEachCall(benchmark::State& state) {
  for (auto _ : state) {
    tolk::LocalRpcSession session(kDaemonDirectory, false, false);
    benchmark::DoNotOptimize(session.getCurrentDC());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(sessionForEachCall)->UseRealTime();

}  // namespace
