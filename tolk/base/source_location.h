// The place in the source that raised an error or wrote a record. clang 14 has no
// std::source_location with this standard library; the type of the Library Fundamentals TS is the
// same.
#pragma once

#include <version>

#if defined(__cpp_lib_source_location)
#include <source_location>
namespace tolk {
using SourceLocation = std::source_location;
}
#else
#include <experimental/source_location>
namespace tolk {
using SourceLocation = std::experimental::source_location;
}
#endif
