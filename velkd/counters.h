// How often each method was called, with what success and how long it took.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace velkd {

struct MethodCount {
  std::uint64_t calls = 0;
  std::uint64_t errors = 0;
  std::chrono::microseconds total{};
  std::chrono::microseconds longest{};
};

/// Off until it is enabled. May be used from several threads.
class Counters {
 public:
  struct Picture {
    bool enabled = false;
    std::map<std::string, MethodCount> methods;
  };

  /// Starts counting from nothing; a second call changes nothing.
  void enable();
  /// Stops counting; what was counted stays to be read.
  void disable();
  /// Counts one answered call, if counting is on.
  void count(const std::string& method, bool error, std::chrono::microseconds took);
  [[nodiscard]] Picture get() const;

 private:
  mutable std::mutex mutex_;
  Picture picture_;
};

}  // namespace velkd
