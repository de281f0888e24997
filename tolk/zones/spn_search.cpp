#include "tolk/zones/spn_search.h"

#include <boost/shared_ptr.hpp>

#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"

namespace tolk {
namespace {

constexpr const char* kAttributes[] = {AD_DN, AD_USER_ACCNT_CONTROL, AD_SERVER_PRINCIPAL_NAME,
                                       nullptr};

// A global catalog holds the objects of all domains below its root.
ADObjectList searchForest(ADBinding& binding, const std::string& filter) {
  ADBinding catalog(binding, true);
  catalog.connect("", "", 0);
  return *catalog.search(filter, "", kAttributes, SearchScope::subtree, 0, 0, SearchFlags::none);
}

ADObjectList searchDomain(ADBinding& binding, const std::string& filter) {
  return *binding.search(filter, LDAPBinding::DNSNameToDN(binding.domainName()), kAttributes,
                         SearchScope::subtree, 0, 0, SearchFlags::none);
}

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
  const std::string filter = spnFilter(spns);
  try {
    return searchForest(binding, filter);
  } catch (const Base_Exception& failure) {
    Logger::GetThreadPrivateLogger("base.zones")
        .log(LogLevel::debug,
             std::string("No global catalog, searching the domain only: ") + failure.what());
  }
  return searchDomain(binding, filter);
}

}  // namespace tolk
