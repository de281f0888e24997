// Keeps whoever can cause a log line again and again from filling the disk with it.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tolk {

/// How many lines of one kind go into the log: so many at once, then one in each interval.
struct LogRate {
  unsigned atOnce;
  std::chrono::milliseconds interval;
};

/// Counts the lines of each kind, a kind being the place in the sources that writes them. For one
/// thread at a time.
class LogLimit {
 public:
  using Clock = std::chrono::steady_clock;
  using Place = std::pair<std::string, unsigned>;  // file and line

  /// Whether a line of that kind may be written at `now`; counted as left out when not.
  bool admit(const Place& place, const LogRate& rate, Clock::time_point now);

  struct LeftOut {
    Place place;
    std::uint64_t lines;
  };
  /// The kinds of which lines were left out and of which one could be written again at `now`, each
  /// told once.
  [[nodiscard]] std::vector<LeftOut> takeLeftOut(Clock::time_point now);

 private:
  struct Kind {
    Clock::time_point free;  // the next line may be written as if nothing had been before
    LogRate rate{};
    std::uint64_t leftOut = 0;
  };
  [[nodiscard]] static bool isFull(const Kind& kind, Clock::time_point now);

  std::map<Place, Kind> kinds_;
  std::uint64_t leftOut_ = 0;  // of all kinds
};

}  // namespace tolk
