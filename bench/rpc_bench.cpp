// Round trips on the daemon's channel; run on a host where velkd serves.
#include <benchmark/benchmark.h>

#include "tolk/rpc/local_rpc_session.h"

namespace {

void callsOnOneSession(benchmark::State& state) {
  tolk::LocalRpcSession session;
  for (auto _ : state) benchmark::DoNotOptimize(session.getCurrentDC());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(callsOnOneSession)->UseRealTime();

void sessionForEachCall(benchmark::State& state) {
  for (auto _ : state) {
    tolk::LocalRpcSession session;
    benchmark::DoNotOptimize(session.getCurrentDC());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(sessionForEachCall)->UseRealTime();

}  // namespace
