// Answers about directory objects that are fresh enough to be given once more.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>

namespace velkd {

/// Holds few and forgets them soon: it is for bursts of callers that ask the same.
class ObjectCache {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::size_t kMaxEntries = 256;
  static constexpr std::size_t kMaxEntryBytes = std::size_t{256} << 10U;

  /// The answer stored for `key` not longer than `lifetime` ago.
  [[nodiscard]] std::optional<std::string> find(const std::string& key,
                                                std::chrono::milliseconds lifetime,
                                                Clock::time_point now) const;
  /// Stores an answer, unless it is too large; when full, what is older than `lifetime` goes first,
  /// then the oldest.
  void store(const std::string& key, const std::string& answer, std::chrono::milliseconds lifetime,
             Clock::time_point now);
  void clear() { entries_.clear(); }
  [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }

 private:
  struct Entry {
    std::string answer;
    Clock::time_point stored;
  };
  std::map<std::string, Entry> entries_;
};

}  // namespace velkd
