// Anonymous reading of a server's root DSE (MS-ADTS 3.1.1.3.2) and of its attributes, where every
// failure is an empty value and a line of diagnostics.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>

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

/// The attribute turned into text by `convert`; empty when the attribute is missing or `convert`
/// throws SystemException. An object without attributes is passed over in silence.
std::string readAs(const tolk::ADObject& object, const std::string& name, std::ostream& verbose,
                   const std::function<std::string(const tolk::ADAttribute&)>& convert);

}  // namespace joinscope
