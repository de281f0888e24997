// Words in lines of a width, beside a label.
#pragma once

#include <cstddef>
#include <string>

namespace joinscope::check {

struct ParagraphShape {
  std::size_t column;  ///< where the text begins
  std::size_t width;
};

/// `label` in the first column, the words of `text` beside it; foreign bytes are escaped. A word
/// that is longer than a line keeps a line of its own, so that it can be copied.
std::string paragraph(const std::string& label, const std::string& text,
                      const ParagraphShape& shape);

}  // namespace joinscope::check
