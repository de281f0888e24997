// Rewritten in place with a carriage return.
#include "cli/joins/progress_line.h"

#include <unistd.h>

#include <iostream>
#include <string>

#include "cli/common/output.h"

namespace joinscope {

ProgressLine::ProgressLine() : watched_(::isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine() {
  if (shown_ > 0) std::cerr << '\r' << std::string(shown_, ' ') << '\r' << std::flush;
}

void ProgressLine::show(std::uint64_t objects) {
  if (!watched_) return;
  const std::string text = std::to_string(objects) + " objects read";
  std::cerr << '\r' << padRight(text, shown_) << std::flush;
  shown_ = text.size();
}

}  // namespace joinscope
