// One search for all names at once.
#include "tolk/zones/spn_search.h"

#include <boost/shared_ptr.hpp>

#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"

namespace tolk {
namespace {

constexpr const char* kAttributes[] = {AD_DN, AD_USER_ACCNT_CONTROL, AD_SERVER_PRINCIPAL_NAME,
                                       nullptr};

}  // namespace

std::string spnFilter(const std::list<std::string>& spns) {
  std::string filter = "(|";
  for (const std::string& spn : spns) {
    filter += '(' + std::string(AD_SERVER_PRINCIPAL_NAME) + '=' + DN::escapeLDAPFilter(spn) + ')';
  }
  return filter + ')';
}

ADObjectList findObjsWithSpns(ADBinding& binding, const std::list<std::string>& spns) {
  if (spns.empty()) return {};
  return *binding.search(spnFilter(spns), binding.wholeTree(), kAttributes, SearchScope::subtree, 0,
                         0, SearchFlags::none);
}

}  // namespace tolk
