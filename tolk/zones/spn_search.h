// Who in the forest claims a service principal name.
#pragma once

#include <list>
#include <string>

#include "tolk/ldap/ad_object.h"

namespace tolk {

class ADBinding;

/// The objects whose servicePrincipalName holds any of `spns`, found by one search: of the
/// forest with a binding to a global catalog, else of the binding's domain. The directory compares
/// without case (MS-ADTS 3.1.1.2.2.4.6). The objects carry AD_DN, AD_USER_ACCNT_CONTROL and
/// AD_SERVER_PRINCIPAL_NAME. No names, no objects. `binding` must be connected. Throws
/// LDAPException.
ADObjectList findObjsWithSpns(ADBinding& binding, const std::list<std::string>& spns);

/// The filter of that search; every value is escaped (RFC 4515, section 3).
std::string spnFilter(const std::list<std::string>& spns);

}  // namespace tolk
