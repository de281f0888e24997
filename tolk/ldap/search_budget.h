// What a search may cost, in time above all: a server that sends little by little would otherwise
// hold its reader for as long as it likes. For tolk/ldap only.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "tolk/base/property_names.h"

namespace tolk {

/// The longest wait for one message, and the name of what sets it ("" when the caller did), for the
/// text of a time-out.
struct WaitLimit {
  std::chrono::milliseconds time;
  std::string source;
};
WaitLimit configuredWait(const Property& property);

/// The time that one search, all of its pages, or one pipeline of reads may be waited for: its
/// limit, and once more for each kAnswersALimit answers that have come, at most kMostLimits times.
/// So what brings nothing ends by its limit, a long listing may take its time, and nothing runs for
/// ever.
class SearchBudget {
 public:
  static constexpr std::size_t kAnswersALimit = 1000;
  static constexpr std::size_t kMostLimits = 100;

  explicit SearchBudget(WaitLimit limit) : limit_(std::move(limit)) {}

  /// Counts a wait that is over, answers that have come, and the bytes of a whole page of them.
  void spend(std::chrono::steady_clock::duration time) { spent_ += time; }
  void earn(std::size_t answers) { answers_ += answers; }
  void take(std::size_t bytes) { bytes_ += bytes; }

  [[nodiscard]] std::size_t answers() const noexcept { return answers_; }
  [[nodiscard]] std::size_t bytes() const noexcept { return bytes_; }

  /// What is left of it while a wait runs since `started`, at least 0.
  [[nodiscard]] WaitLimit left(std::chrono::steady_clock::time_point started) const;

  /// The whole, as the text of a time-out has it.
  [[nodiscard]] WaitLimit whole() const;

 private:
  [[nodiscard]] std::size_t limits() const;

  WaitLimit limit_;
  std::chrono::steady_clock::duration spent_{};
  std::size_t answers_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace tolk
