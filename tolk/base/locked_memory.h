// Whole pages for secrets: locked into memory, left out of core files, zeroed before they are given
// back.
#pragma once

#include <cstddef>

namespace tolk {

/// Owns at least one page; empty after it was moved from or when default-made.
class LockedMemory {
 public:
  LockedMemory() noexcept = default;
  /// Maps zeroed pages for `bytes`. Throws std::bad_alloc. That the pages cannot be locked
  /// (RLIMIT_MEMLOCK) is no failure: they then stay out of core files and are still wiped.
  explicit LockedMemory(std::size_t bytes);
  LockedMemory(LockedMemory&& from) noexcept;
  LockedMemory& operator=(LockedMemory&& from) noexcept;
  LockedMemory(const LockedMemory&) = delete;
  LockedMemory& operator=(const LockedMemory&) = delete;
  ~LockedMemory();

  [[nodiscard]] char* data() const noexcept { return data_; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }

  /// Overwrites all pages with zero bytes, in a way the compiler does not leave out.
  void wipe() noexcept;

 private:
  char* data_ = nullptr;
  std::size_t size_ = 0;  // bytes mapped, a multiple of the page size
};

}  // namespace tolk
