// Facts as JSON, both ways.
#pragma once

#include <string>
#include <string_view>

#include "facts/facts.h"

namespace joinscope::facts {

/// One line of JSON. Bytes that are not UTF-8 are escaped (tolk::printable).
std::string writeFacts(const Facts& facts);

/// What such a text holds; a member that is missing keeps its default, an unknown one is left
/// aside. Throws BadDataException that names the place: no JSON, a member of another type, a newer
/// schema.
Facts readFacts(std::string_view text);

}  // namespace joinscope::facts
