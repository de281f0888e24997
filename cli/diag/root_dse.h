// Anonymous reading of a server's root DSE (MS-ADTS 3.1.1.3.2) and of its attributes, where every
// failure is an empty value and a line of diagnostics.
#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "cli/common/output.h"
#include "facts/reading.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_object.h"

namespace tolk {
class RootDseReads;
}

namespace joinscope {

/// The root DSE of "host:port", or no object when it cannot be read. `verbose` may be null where it
/// is a pointer, here and below.
tolk::ADObject readRootDse(const std::string& server, std::ostream* verbose);

/// The same from reads that are under way.
tolk::ADObject readRootDse(tolk::RootDseReads& reads, const std::string& server,
                           std::ostream& verbose);

/// The attribute's first value, or empty.
std::string readAttribute(const tolk::ADObject& object, const std::string& name,
                          std::ostream* verbose);

/// The same for a distinguished name, turned into the DNS name of its domain.
std::string readDomainAttribute(const tolk::ADObject& object, const std::string& name,
                                std::ostream* verbose);

/// The value of a reading; without one `verbose` is told why, unless nothing has been read.
template <typename Value>
std::optional<Value> tellReading(const Reading<Value>& reading, const std::string& name,
                                 std::ostream& verbose) {
  if (reading.missing) {
    verbose << prefix(2) << "Missing index: " << name << '\n';
  } else if (!reading.problem.empty()) {
    verbose << prefix(2) << "While accessing index " << name << ": "
            << tolk::printable(reading.problem) << '\n';
  }
  return reading.value;
}

}  // namespace joinscope
