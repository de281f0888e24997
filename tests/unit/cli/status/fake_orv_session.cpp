#include "fake_orv_session.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "tolk/rpc/orv_session.h"

namespace joinscope::test {

FakeDaemon& daemon() {
  static FakeDaemon instance;
  return instance;
}

}  // namespace joinscope::test

using joinscope::test::daemon;

struct OrvSession {};

int orvSessionOpen(int version, int client, OrvSession** session) noexcept {
  *session = nullptr;
  if (version != 1 || client != 21) return OrvCode::kBadArgument;
  if (daemon().openCode != 0) return daemon().openCode;
  ++daemon().open;
  *session = new (std::nothrow) OrvSession;
  return 0;
}

int orvGetDomainRids(OrvSession*, OrvKeyValue** set) noexcept {
  *set = nullptr;
  const auto& codes = daemon().codes;
  const auto turn = std::min(static_cast<std::size_t>(daemon().asked++), codes.size() - 1);
  if (codes[turn] != 0) return codes[turn];
  const auto& ranges = daemon().ranges;
  *set = static_cast<OrvKeyValue*>(std::calloc(ranges.size() + 1, sizeof(OrvKeyValue)));
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    (*set)[i] = {::strdup(ranges[i].first.c_str()), ::strdup(ranges[i].second.c_str())};
  }
  return 0;
}

void orvSessionClose(OrvSession* session) noexcept {
  if (session != nullptr) --daemon().open;
  delete session;
}

void orvFreeKeyValueSet(OrvKeyValue* set) noexcept {
  for (OrvKeyValue* pair = set; pair != nullptr && pair->key != nullptr; ++pair) {
    std::free(pair->key);
    std::free(pair->value);
  }
  std::free(set);
}

const char* orvGetOrvCodeStr(int) noexcept {
  return "why";
}
