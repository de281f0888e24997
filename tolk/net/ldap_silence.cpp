// Times are kept in tenths of a second: rounding up what is left and down what was waited, no
// limit is ever exceeded.
#include "tolk/net/ldap_silence.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <ratio>
#include <tuple>

namespace tolk {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::minutes kLifetime{5};
constexpr milliseconds kLeast{500};
using Tenths = std::chrono::duration<std::int64_t, std::deci>;  // what messages show

struct Silences {
  struct Silence {
    milliseconds time;
    Clock::time_point until;
  };
  using Key = std::tuple<Transport, in_addr_t, in_port_t>;

  static Silences& instance() {
    static Silences all;
    return all;
  }

  std::mutex mutex;
  std::map<Key, Silence> known;
};

Silences::Key keyOf(Transport transport, const sockaddr_in& address) {
  return {transport, address.sin_addr.s_addr, address.sin_port};
}

}  // namespace

milliseconds knownSilence(Transport transport, const sockaddr_in& address) {
  Silences& all = Silences::instance();
  const std::lock_guard lock(all.mutex);
  const auto found = all.known.find(keyOf(transport, address));
  if (found == all.known.end() || Clock::now() >= found->second.until) return milliseconds(0);
  return found->second.time;
}

milliseconds remainingLimit(Transport transport, const sockaddr_in& address, milliseconds limit) {
  const milliseconds left = std::chrono::ceil<Tenths>(limit - knownSilence(transport, address));
  return std::max(std::min(limit, left), std::min(limit, kLeast));
}

SilenceWatch::SilenceWatch(Transport transport, const sockaddr_in& address)
    : transport_(transport), address_(address), before_(knownSilence(transport, address)) {}

SilenceWatch::~SilenceWatch() {
  if (heard_) return;
  Silences& all = Silences::instance();
  const std::lock_guard lock(all.mutex);
  all.known[keyOf(transport_, address_)] = {time(), Clock::now() + kLifetime};
}

void SilenceWatch::heard() {
  heard_ = true;
  Silences& all = Silences::instance();
  const std::lock_guard lock(all.mutex);
  all.known.erase(keyOf(transport_, address_));
}

milliseconds SilenceWatch::time() const {
  return before_ + std::chrono::floor<Tenths>(Clock::now() - started_);
}

}  // namespace tolk
