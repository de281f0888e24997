// formatText: the one file that includes Boost.Format, which costs a second to compile.
#include <boost/format.hpp>

#include "tolk/base/text.h"

namespace tolk {

std::string formatText(const std::string& pattern, std::initializer_list<std::string> arguments) {
  boost::format format;
  format.exceptions(boost::io::no_error_bits);
  format.parse(pattern);
  for (const std::string& argument : arguments) format % argument;
  return format.str();
}

}  // namespace tolk
