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
constexpr std::chrono::seconds kSessionLifetime{30};
constexpr milliseconds kLeast{500};
using Tenths = std::chrono::duration<std::int64_t, std::deci>;  // what messages show

enum class Kind { udp, tcp, session };

class Silences {
 public:
  using Key = std::tuple<Kind, in_addr_t, in_port_t>;

  static Silences& instance() {
    static Silences all;
    return all;
  }

  [[nodiscard]] milliseconds time(const Key& key) {
    const std::lock_guard lock(mutex_);
    const auto found = known_.find(key);
    if (found == known_.end() || Clock::now() >= found->second.until) return milliseconds(0);
    return found->second.time;
  }

  void set(const Key& key, milliseconds time) {
    const std::lock_guard lock(mutex_);
    known_[key] = {time, Clock::now() + kLifetime};
  }

  void add(const Key& key, milliseconds time) {
    const std::lock_guard lock(mutex_);
    Silence& silence = known_[key];
    const Clock::time_point now = Clock::now();
    if (now >= silence.until) silence = {milliseconds(0), now + kSessionLifetime};
    silence.time += time;
  }

  void forget(const Key& key) {
    const std::lock_guard lock(mutex_);
    known_.erase(key);
  }

 private:
  struct Silence {
    milliseconds time;
    Clock::time_point until;
  };

  std::mutex mutex_;
  std::map<Key, Silence> known_;
};

Silences::Key keyOf(Transport transport, const sockaddr_in& address) {
  const Kind kind = transport == Transport::udp ? Kind::udp : Kind::tcp;
  return {kind, address.sin_addr.s_addr, address.sin_port};
}

Silences::Key sessionKey(const sockaddr_in& address) {
  return {Kind::session, address.sin_addr.s_addr, address.sin_port};
}

milliseconds remaining(milliseconds silence, milliseconds limit) {
  const milliseconds left = std::chrono::ceil<Tenths>(limit - silence);
  return std::max(std::min(limit, left), std::min(limit, kLeast));
}

}  // namespace

milliseconds knownSilence(Transport transport, const sockaddr_in& address) {
  return Silences::instance().time(keyOf(transport, address));
}

milliseconds remainingLimit(Transport transport, const sockaddr_in& address, milliseconds limit) {
  return remaining(knownSilence(transport, address), limit);
}

milliseconds remainingSessionLimit(const sockaddr_in& address, milliseconds limit) {
  return remaining(Silences::instance().time(sessionKey(address)), limit);
}

void noteSessionSilence(const sockaddr_in& address, milliseconds time) {
  Silences::instance().add(sessionKey(address), time);
}

void noteSessionAnswer(const sockaddr_in& address) {
  Silences::instance().forget(sessionKey(address));
}

SilenceWatch::SilenceWatch(Transport transport, const sockaddr_in& address)
    : transport_(transport), address_(address), before_(knownSilence(transport, address)) {}

SilenceWatch::~SilenceWatch() {
  if (!heard_) Silences::instance().set(keyOf(transport_, address_), time());
}

void SilenceWatch::heard() {
  heard_ = true;
  Silences::instance().forget(keyOf(transport_, address_));
}

milliseconds SilenceWatch::time() const {
  return before_ + std::chrono::floor<Tenths>(Clock::now() - started_);
}

}  // namespace tolk
