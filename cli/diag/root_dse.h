// Anonymous reading of a server's root DSE (MS-ADTS 3.1.1.3.2) and of its attributes, where every
// failure is an empty value and a line of diagnostics.
#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/common/output.h"
#include "facts/reading.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_object.h"

namespace joinscope {

/// The root DSE of "host:port", or no object when it cannot be read. `verbose` may be null where it
/// is a pointer, here and below.
tolk::ADObject readRootDse(const std::string& server, std::ostream* verbose);

/// Hands over each server's in list order, each as soon as it is there; the reads overlap.
using ShowRootDse = std::function<void(const std::string& server, tolk::ADObject rootDse)>;
void readRootDses(const std::vector<std::string>& servers, std::ostream& verbose,
                  const ShowRootDse& show);

/// Tells `verbose` why a directory could not be read.
void tellReadFailure(std::ostream& verbose, const std::exception& failure);

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
