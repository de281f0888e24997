#include "tolk/ldap/udp_binding.h"

#include <gtest/gtest.h>
#include <ldap.h>

#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

// Whether the filter was taken: the query was sent, and nobody listens here.
bool takes(UDPBinding& binding, const std::string& filter) {
  try {
    static_cast<void>(binding.search("", filter, nullptr));
    ADD_FAILURE() << "an answer";
  } catch (const LDAPException& failure) {
    EXPECT_EQ(failure.code(), LDAP_FILTER_ERROR);
  } catch (const IOException&) {
    return true;
  }
  return false;
}

TEST(UDPBinding, TakesOnePresenceTestOrEqualitiesThatAllHold) {
  Props().set(PN::LDAP_BIND_TIMEOUT, "0.1");
  UDPBinding binding;
  binding.init("127.89.3.1");
  for (const char* filter : {"(objectclass=*)", "(DnsDomain=lab.test)",
                             "(&(DnsDomain=lab.test)(Host=x)(NtVer=\\16\\00\\00\\00))"}) {
    SCOPED_TRACE(filter);
    EXPECT_TRUE(takes(binding, filter));
  }
  for (const std::string filter :
       {"", "objectclass", "(objectclass=*", "(|(a=b)(c=d))", "(!(a=b))", "(a>=1)", "(a=b*)",
        "(&(a=b)(c=*))", "(&(a=b)(|(c=d)(e=f)))", "(&)"}) {
    SCOPED_TRACE(filter);
    EXPECT_FALSE(takes(binding, filter));
  }
  EXPECT_FALSE(takes(binding, std::string("(a=b\0)", 6)));
}

TEST(UDPBinding, AsksNobodyBeforeInit) {
  UDPBinding binding;
  EXPECT_THROW(static_cast<void>(binding.search("", "(objectclass=*)", nullptr)), LDAPException);
}

}  // namespace
}  // namespace tolk
