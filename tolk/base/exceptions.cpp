// Construction of the exception family's root.
#include "tolk/base/exceptions.h"

#include <utility>

namespace tolk {

Base_Exception::Base_Exception(std::string message, int code, SourceLocation where)
    : Base_Exception(std::move(message), code, where.file_name(), "", where) {}

Base_Exception::Base_Exception(std::string message, int code, const char* file,
                               const char* typeName, SourceLocation where)
    : message_(std::move(message)),
      code_(code),
      file_(file),
      typeName_(typeName),
      line_(where.line()) {}

}  // namespace tolk
