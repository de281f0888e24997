// What a bundle does not hold, for whoever makes it and whoever reads it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace joinscope {

/// Lines of a path and what became of it. The first ten thousand are kept, the others counted.
class Notes {
 public:
  void add(std::string_view path, std::string_view what);
  [[nodiscard]] bool empty() const noexcept { return lines_.empty(); }
  /// The first `most` lines, each with its end, and how many there are beside them.
  [[nodiscard]] std::string text(std::size_t most = kMost) const;

 private:
  static constexpr std::size_t kMost = 10000;
  std::vector<std::string> lines_;
  std::size_t count_ = 0;
};

}  // namespace joinscope
