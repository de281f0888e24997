// A string for secrets.
#include "tolk/base/shredder.h"

#include <sys/prctl.h>
#include <sys/resource.h>

#include <cstring>
#include <utility>

namespace tolk {

Shredder::Shredder(std::string_view text) {
  if (text.empty()) return;
  memory_ = LockedMemory(text.size() + 1);  // fresh pages are zero: the NUL is there
  std::memcpy(memory_.data(), text.data(), text.size());
  size_ = text.size();
}

Shredder::Shredder(const Shredder& from) : Shredder(from.view()) {}

Shredder::Shredder(Shredder&& from) noexcept
    : memory_(std::move(from.memory_)), size_(std::exchange(from.size_, 0)) {}

Shredder& Shredder::operator=(const Shredder& from) {
  if (this != &from) *this = Shredder(from);
  return *this;
}

Shredder& Shredder::operator=(Shredder&& from) noexcept {
  if (this == &from) return *this;
  // The old pages are given back here, not when `from` dies: a wiped secret must not wait for that.
  LockedMemory old = std::exchange(memory_, std::move(from.memory_));
  size_ = std::exchange(from.size_, 0);
  return *this;
}

void Shredder::wipe() noexcept {
  memory_.wipe();
  size_ = 0;
}

void forbidCoreDumps() noexcept {
  const rlimit none{0, 0};
  (void)::setrlimit(RLIMIT_CORE, &none);
  (void)::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

}  // namespace tolk
