// --config: the agent's configuration as the agent library parses it.
#pragma once

#include <iosfwd>
#include <string>

#include "tolk/base/properties.h"

namespace joinscope {

/// Loads /etc/orvald/orvald.conf anew and writes one line for each property to standard output. A
/// file that cannot be read looks like one without properties. Returns status 0.
int printConfig();

/// The properties of the file at `path`; none when it cannot be read. The process-wide
/// configuration stays untouched.
tolk::Properties::Map readConfig(const std::string& path);

/// One line for each property in the map's order, the key as stored and the value escaped.
void writeConfig(std::ostream& out, const tolk::Properties::Map& properties);

}  // namespace joinscope
