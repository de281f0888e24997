// Answers about directory objects.
#include "velkd/object_cache.h"

#include <algorithm>

namespace velkd {

std::optional<std::string> ObjectCache::find(const std::string& key,
                                             std::chrono::milliseconds lifetime,
                                             Clock::time_point now) const {
  const auto found = entries_.find(key);
  if (found == entries_.end() || now - found->second.stored >= lifetime) return std::nullopt;
  return found->second.answer;
}

void ObjectCache::store(const std::string& key, const std::string& answer,
                        std::chrono::milliseconds lifetime, Clock::time_point now) {
  entries_.erase(key);
  if (answer.size() > kMaxEntryBytes) return;
  if (entries_.size() >= kMaxEntries) {
    std::erase_if(entries_, [&](const auto& item) { return now - item.second.stored >= lifetime; });
  }
  if (entries_.size() >= kMaxEntries) {
    entries_.erase(std::min_element(
        entries_.begin(), entries_.end(),
        [](const auto& a, const auto& b) { return a.second.stored < b.second.stored; }));
  }
  entries_[key] = {answer, now};
}

}  // namespace velkd
