// One line about work under way, for somebody who watches.
#pragma once

#include <cstddef>
#include <cstdint>

namespace joinscope {

/// Shows a number of objects on standard error when that is a terminal; nothing anywhere else. The
/// line is erased at the end of the scope.
class ProgressLine {
 public:
  ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine();

  void show(std::uint64_t objects);

 private:
  bool watched_;
  std::size_t shown_ = 0;  // columns of the line that stands there
};

}  // namespace joinscope
