// The process's memory of host names that DNS has answered for, so that a name that is asked for
// twice in a run has one answer, and costs one question.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "tolk/net/host_query.h"

namespace tolk {

/// Thread-safe.
class HostMemory {
 public:
  using Clock = std::chrono::steady_clock;

  static HostMemory& instance();

  [[nodiscard]] std::optional<HostAnswer> find(const std::string& name);
  /// Keeps an answer for as long as its records say (RFC 1035, 3.2.1), and 60 seconds at most.
  void remember(const std::string& name, const HostAnswer& answer, std::chrono::seconds timeToLive);

  /// What is known now, by name.
  [[nodiscard]] std::map<std::string, HostAnswer> known();

 private:
  struct Entry {
    HostAnswer answer;
    Clock::time_point until;
  };

  void dropOld();

  std::mutex mutex_;
  std::map<std::string, Entry> entries_;  // names in lower case
};

}  // namespace tolk
