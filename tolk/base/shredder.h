// A string for secrets: its bytes live in locked memory that is left out of core files, and are
// zeroed before they are given back.
#pragma once

#include <cstddef>
#include <string_view>

#include "tolk/base/locked_memory.h"

namespace tolk {

/// Holds a password. Copies are deep, each wiped on its own; moving leaves the source empty. The
/// text is always followed by a NUL byte, so that c_str() can be handed to C libraries.
class Shredder {
 public:
  Shredder() noexcept = default;
  /// Copies `text`; the caller wipes its own copy. Throws std::bad_alloc.
  explicit Shredder(std::string_view text);
  Shredder(const Shredder& from);
  Shredder(Shredder&& from) noexcept;
  Shredder& operator=(const Shredder& from);
  Shredder& operator=(Shredder&& from) noexcept;
  ~Shredder() = default;  // the memory wipes itself

  [[nodiscard]] const char* c_str() const noexcept {
    return memory_.data() == nullptr ? "" : memory_.data();
  }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
  [[nodiscard]] std::string_view view() const noexcept { return {c_str(), size_}; }

  /// Overwrites every character with a zero byte and leaves the string empty.
  void wipe() noexcept;

 private:
  LockedMemory memory_;
  std::size_t size_ = 0;  // characters, without the NUL
};

/// Keeps secrets out of core files and away from other users' debuggers: core limit 0 and
/// PR_SET_DUMPABLE off. Called once at the start of a program.
void forbidCoreDumps() noexcept;

}  // namespace tolk
