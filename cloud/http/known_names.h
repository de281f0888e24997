// Names of services that the directory was asked for lately.
#pragma once

#include <ctime>
#include <map>
#include <string>

#include "tolk/base/lock.h"

namespace tolk {

/// For use by several threads. What was found is known for an hour; that nothing was, for a minute.
class KnownNames {
 public:
  /// False when the name was not asked for lately; else `found` is what it came to, "" for nothing.
  bool find(const std::string& asked, std::string& found) {
    const std::lock_guard guard(lock_);
    const auto known = names_.find(asked);
    if (known == names_.end() || known->second.until < std::time(nullptr)) return false;
    found = known->second.found;
    return true;
  }
  void remember(const std::string& asked, const std::string& found) {
    constexpr std::time_t kFoundSeconds = 3600;
    constexpr std::time_t kMissingSeconds = 60;
    constexpr std::size_t kMostNames = 64;
    const std::lock_guard guard(lock_);
    if (names_.size() >= kMostNames) names_.clear();
    names_[asked] = {found, std::time(nullptr) + (found.empty() ? kMissingSeconds : kFoundSeconds)};
  }
  void forget() {
    const std::lock_guard guard(lock_);
    names_.clear();
  }

 private:
  struct Name {
    std::string found;
    std::time_t until = 0;
  };
  Lock lock_;
  std::map<std::string, Name> names_;
};

}  // namespace tolk
