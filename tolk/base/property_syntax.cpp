// The syntax of orvald.conf(5).
#include "tolk/base/property_syntax.h"

#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Takes the next physical line off `text`, without its line end.
std::string_view takeLine(std::string_view& text) noexcept {
  const std::size_t end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

std::string_view withoutLeadingSpace(std::string_view line) noexcept {
  const std::string_view trimmed = trim(line);
  if (trimmed.empty()) return {};
  return line.substr(static_cast<std::size_t>(trimmed.data() - line.data()));
}

// Takes the next line together with those that continue it.
std::string takeLogicalLine(std::string_view& text) {
  std::string line(withoutLeadingSpace(takeLine(text)));
  if (line.starts_with('#')) return {};
  while (line.ends_with('\\')) {
    line.pop_back();
    if (text.empty()) break;
    line += withoutLeadingSpace(takeLine(text));
  }
  return line;
}

}  // namespace

void forEachProperty(std::string_view text,
                     const std::function<void(std::string_view key, std::string value)>& take) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  while (!text.empty()) {
    const std::string line = takeLogicalLine(text);
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    const std::string_view key = trim(std::string_view(line).substr(0, colon));
    if (key.empty()) continue;
    take(key, std::string(trim(std::string_view(line).substr(colon + 1))));
  }
}

}  // namespace tolk
