// Lines with their number, the first ones kept.
#include "cli/support/bundle/notes.h"

#include <algorithm>

#include "tolk/base/text.h"

namespace joinscope {

void Notes::add(std::string_view path, std::string_view what) {
  if (++count_ > kMost) return;
  lines_.push_back(tolk::printable(path) + ": " + std::string(what));
}

std::string Notes::text(std::size_t most) const {
  std::string text;
  const std::size_t shown = std::min(most, lines_.size());
  for (std::size_t line = 0; line < shown; ++line) text += lines_[line] + '\n';
  if (count_ > shown) text += "and " + std::to_string(count_ - shown) + " more\n";
  return text;
}

}  // namespace joinscope
