#include "tolk/ldap/dn.h"

#include <gtest/gtest.h>

#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/ldap/ldap_binding.h"

namespace tolk {
namespace {

TEST(DN, DomainAndCanonicalForm) {
  struct Row {
    const char* dn;
    const char* domain;
    const char* canonical;
  };
  const Row rows[] = {
      {"DC=lab,DC=test", "lab.test", "lab.test/"},
      {"dc=lab , dc=test", "lab.test", "lab.test/"},
      {"CN=Jo\\, Senior,OU=R\\+D,DC=lab,DC=test", "lab.test", "lab.test/R+D/Jo, Senior"},
      {"CN=a/b,OU=c\\\\d,DC=lab,DC=test", "lab.test", "lab.test/c\\\\d/a\\/b"},
      {"CN=M\\C3\\BCller,DC=lab,DC=test", "lab.test", "lab.test/M\xC3\xBCller"},
      {"CN=x\\0ACNF:1,DC=lab,DC=test", "lab.test", "lab.test/x\nCNF:1"},
      // a DNS record's name holds DC components of its own
      {"DC=dc1,DC=lab.test,CN=MicrosoftDNS,DC=DomainDnsZones,DC=lab,DC=test",
       "DomainDnsZones.lab.test", "DomainDnsZones.lab.test/MicrosoftDNS/lab.test/dc1"},
      {"CN=x", "", "/x"},
      {"", "", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.dn);
    EXPECT_EQ(DN::domainFromDN(row.dn), row.domain);
    EXPECT_EQ(DN::canonicalFromDN(row.dn), row.canonical);
  }
}

TEST(DN, NamesBelowAContainer) {
  const std::string container = "OU=Connectors, dc=LAB,DC=test";
  struct Row {
    const char* dn;
    bool within;
  };
  for (const auto& [dn, within] :
       {Row{"CN=proxy,CN=C1,ou=connectors,DC=lab,DC=test", true},
        Row{"OU=Connectors,DC=lab,DC=test", true}, Row{"DC=lab,DC=test", false},
        // A comma in a value is no border, and another type of component another place.
        Row{"CN=evil\\,OU=Connectors,DC=lab,DC=test", false},
        Row{"CN=evil\\2COU\\3DConnectors,DC=lab,DC=test", false},
        Row{"CN=x,CN=Connectors,DC=lab,DC=test", false},
        Row{"CN=x,OU=Connectors+CN=y,DC=lab,DC=test", false},
        Row{"CN=x,OU=Connectors,DC=lab,DC=test,DC=evil", false},
        Row{"CN=x,OU=Connectors,DC=lab,DC=testing", false}, Row{"", false}}) {
    EXPECT_EQ(DN::isWithin(dn, container), within) << dn;
  }
  EXPECT_FALSE(DN::isWithin("CN=x,DC=lab", ""));
}

TEST(DN, TextThatIsNoNameIsRefused) {
  using namespace std::string_literals;
  for (const std::string& text :
       {"lab.test"s, "CN=x,"s, "=x"s, "CN=#zz,DC=x"s, "DC=lab\0,DC=test"s, "CN=x\\"s}) {
    EXPECT_THROW(static_cast<void>(DN::domainFromDN(text)), SystemException) << text;
    EXPECT_THROW(static_cast<void>(DN::canonicalFromDN(text)), SystemException) << text;
  }
}

TEST(DN, FilterValuesCannotLeaveTheirPlace) {
  EXPECT_EQ(DN::escapeLDAPFilter("HOST1"), "HOST1");
  EXPECT_EQ(DN::escapeLDAPFilter("*)(cn=*"), "\\2a\\29\\28cn=\\2a");
  EXPECT_EQ(DN::escapeLDAPFilter(std::string("a\\\0b", 4)), "a\\5c\\00b");
  EXPECT_EQ(DN::escapeLDAPFilter("\xC3\xBC\x7f\n"), "\\c3\\bc\\7f\\0a");
}

TEST(DN, EscapedValuesReadBackAsTheyWere) {
  for (const std::string value : {"a,b", " x ", "#1", "a+b=c;d<e>f\"g", "\xC3\xBC", " "}) {
    EXPECT_EQ(DN::canonicalFromDN("OU=" + DN::escapeValue(value) + ",DC=lab"), "lab/" + value);
  }
  EXPECT_EQ(DN::escapeValue("g\\h"), "g\\\\h");
}

TEST(DN, ADnsNameBecomesItsDomainObject) {
  EXPECT_EQ(LDAPBinding::DNSNameToDN("child.lab.test"), "DC=child,DC=lab,DC=test");
  EXPECT_EQ(LDAPBinding::DNSNameToDN(""), "");
  EXPECT_EQ(DN::domainFromDN(LDAPBinding::DNSNameToDN("a,b.test")), "a,b.test");
}

}  // namespace
}  // namespace tolk
