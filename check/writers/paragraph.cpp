// Words in lines of a width, beside a label.
#include "check/writers/paragraph.h"

#include <algorithm>

#include "tolk/base/text.h"

namespace joinscope::check {

std::string paragraph(const std::string& label, const std::string& text,
                      const ParagraphShape& shape) {
  std::string line = label + std::string(shape.column - std::min(label.size(), shape.column), ' ');
  if (line.back() != ' ') line += ' ';
  std::size_t used = line.size();
  bool fresh = true;
  for (const std::string& word : tolk::split(tolk::printable(text), ' ')) {
    if (!fresh && used + 1 + word.size() > shape.width) {
      line += '\n' + std::string(shape.column, ' ');
      used = shape.column;
      fresh = true;
    }
    line += (fresh ? "" : " ") + word;
    used += word.size() + (fresh ? 0 : 1);
    fresh = false;
  }
  return line + '\n';
}

}  // namespace joinscope::check
