// How users share what there is a limited number of: connections, and calls that wait.
#pragma once

#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <map>

namespace velkd {

inline constexpr uid_t kRoot = 0;

/// Some places are kept for root. Of the others a user may have as many as it leaves free: the
/// first user half of them, the next one half of the rest, so that however many they are, one more
/// still gets in.
class Places {
 public:
  Places(std::size_t all, std::size_t keptForRoot)
      : all_(all), forUsers_(all - std::min(all, keptForRoot)) {}

  /// Takes one; false when `user` is to have no more.
  [[nodiscard]] bool take(uid_t user);
  /// Gives one back that `user` has taken.
  void giveBack(uid_t user) noexcept;
  /// Whether there is none, not even for root.
  [[nodiscard]] bool full() const noexcept { return taken_ >= all_; }

 private:
  [[nodiscard]] std::size_t freeFor(uid_t user) const noexcept;

  std::size_t all_;
  std::size_t forUsers_;
  std::size_t taken_ = 0;
  std::map<uid_t, std::size_t> takenBy_;
};

}  // namespace velkd
