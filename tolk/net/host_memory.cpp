// Entries end by the time that their records give them; the map never grows beyond a fixed
// number.
#include "tolk/net/host_memory.h"

#include <algorithm>

#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr std::chrono::seconds kLongest{60};
constexpr std::size_t kMostNames = 1024;

}  // namespace

HostMemory& HostMemory::instance() {
  static HostMemory all;
  return all;
}

std::optional<HostAnswer> HostMemory::find(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(toLower(name));
  if (found == entries_.end() || Clock::now() >= found->second.until) return std::nullopt;
  return found->second.answer;
}

void HostMemory::remember(const std::string& name, const HostAnswer& answer,
                          std::chrono::seconds timeToLive) {
  if (timeToLive <= std::chrono::seconds(0)) return;
  const std::lock_guard lock(mutex_);
  dropOld();
  if (entries_.size() >= kMostNames) return;
  entries_[toLower(name)] = {answer, Clock::now() + std::min(timeToLive, kLongest)};
}

std::map<std::string, HostAnswer> HostMemory::known() {
  const std::lock_guard lock(mutex_);
  dropOld();
  std::map<std::string, HostAnswer> all;
  for (const auto& [name, entry] : entries_) all.emplace(name, entry.answer);
  return all;
}

void HostMemory::dropOld() {
  std::erase_if(entries_,
                [now = Clock::now()](const auto& item) { return now >= item.second.until; });
}

}  // namespace tolk
