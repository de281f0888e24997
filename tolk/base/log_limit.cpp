// A leaky bucket for each source place; the number left out goes with the next line.
#include "tolk/base/log_limit.h"

#include <algorithm>

namespace tolk {

// Each line moves `free` on by an interval; it may be ahead by as many intervals as lines may come
// at once (a leaky bucket, as a time).
bool LogLimit::isFull(const Kind& kind, Clock::time_point now) {
  return kind.free - now > kind.rate.interval * (kind.rate.atOnce - 1);
}

bool LogLimit::admit(const Place& place, const LogRate& rate, Clock::time_point now) {
  Kind& kind = kinds_[place];
  kind.rate = rate;
  if (isFull(kind, now)) {
    ++kind.leftOut;
    ++leftOut_;
    return false;
  }
  kind.free = std::max(kind.free, now) + rate.interval;
  return true;
}

std::vector<LogLimit::LeftOut> LogLimit::takeLeftOut(Clock::time_point now) {
  std::vector<LeftOut> all;
  if (leftOut_ == 0) return all;
  for (auto& [place, kind] : kinds_) {
    if (kind.leftOut == 0 || isFull(kind, now)) continue;
    leftOut_ -= kind.leftOut;
    all.push_back({place, std::exchange(kind.leftOut, 0)});
  }
  return all;
}

}  // namespace tolk
