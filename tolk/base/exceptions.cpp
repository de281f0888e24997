// Construction of the exception family's root.
#include "tolk/base/exceptions.h"

#include <utility>

namespace tolk {

Base_Exception::Base_Exception(std::string message, int code, SourceLocation where)
    : message_(std::move(message)), code_(code), where_(where) {}

}  // namespace tolk
