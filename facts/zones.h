// The zones of the forest.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

#include "tolk/ldap/ad_object.h"

namespace tolk {
class ADBinding;
}

namespace joinscope {

/// How zones are kept in the directory (docs/zone-schema.md).
enum class ZoneLayout { standard, rfc2307, sfu };

/// The zones of one layout: of the forest with a binding to a global catalog, else of the binding's
/// domain. Throws LDAPException.
boost::shared_ptr<tolk::ADObjectList> readZones(tolk::ADBinding& binding, ZoneLayout layout);

/// The name for people of the zone at `zoneDn`, or `unnamed`. Throws LDAPException.
std::string readZoneName(tolk::ADBinding& binding, const std::string& zoneDn,
                         const std::string& unnamed);

}  // namespace joinscope
