// Calls per method.
#include "velkd/counters.h"

#include <algorithm>

namespace velkd {

void Counters::enable() {
  const std::lock_guard lock(mutex_);
  if (picture_.enabled) return;
  picture_ = {.enabled = true};
}

void Counters::disable() {
  const std::lock_guard lock(mutex_);
  picture_.enabled = false;
}

void Counters::count(const std::string& method, bool error, std::chrono::microseconds took) {
  const std::lock_guard lock(mutex_);
  if (!picture_.enabled) return;
  MethodCount& entry = picture_.methods[method];
  ++entry.calls;
  if (error) ++entry.errors;
  entry.total += took;
  entry.longest = std::max(entry.longest, took);
}

Counters::Picture Counters::get() const {
  const std::lock_guard lock(mutex_);
  return picture_;
}

}  // namespace velkd
