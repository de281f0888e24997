// Layout of report lines.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace joinscope {

/// The blanks in front of a report line: two a level, for levels 0 to 4.
constexpr std::string_view prefix(std::size_t level) noexcept {
  constexpr std::string_view kBlanks = "        ";
  return kBlanks.substr(0, 2 * level);
}

/// `text` with blanks behind it up to `columns` bytes; a longer text stays whole.
inline std::string padRight(std::string_view text, std::size_t columns) {
  std::string padded(text);
  if (padded.size() < columns) padded.resize(columns, ' ');
  return padded;
}

}  // namespace joinscope
