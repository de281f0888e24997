// Exceptions as text, and the failure that a bind has left in the context.
#include "cli/common/error_text.h"

#include <iostream>

#include "cli/common/task_context.h"
#include "tolk/base/text.h"

namespace joinscope {

std::string errorText(const std::exception& error) {
  std::string text;
  for (const std::string& line : tolk::split(error.what(), '\n')) {
    text += tolk::printable(line) + '\n';
  }
  text.pop_back();  // a text without line ends is one line
  return text;
}

void showBindFailure(const TaskContext& context) {
  std::cout << context.errorMessage << '\n';
}

}  // namespace joinscope
