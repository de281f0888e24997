// The site listing's text and its refusals.
#include "cli/diag/site_topology.h"

#include <gtest/gtest.h>

#include <sstream>

#include "cli/common/task_context.h"

namespace joinscope {
namespace {

TEST(SiteTopology, Text) {
  std::ostringstream out;
  writeSiteTopology(out, {
                             {.subnet = "192.0.2.0/24",
                              .site = "North",
                              .servers = {{"DC1", "dc1.lab.test"}, {"DC2", ""}, {"", "x.test"}}},
                             {.subnet = "198.51.100.0/24", .site = "", .servers = {}},
                             {.subnet = "2001:db8::/32", .site = "S\n", .servers = {}},
                         });
  EXPECT_EQ(out.str(),
            "  Site: North\n"
            "    Subnet: 192.0.2.0/24\n"
            "    Server: DC1 (dc1.lab.test)\n"
            "    Server: DC2 (DNS name unavailable)\n"
            "    Server:  (x.test)\n"
            "  Site: \n"
            "    Subnet: 198.51.100.0/24\n"
            "    Servers: none\n"
            "  Site: S\\x0A\n"
            "    Subnet: 2001:db8::/32\n"
            "    Servers: none\n");
}

TEST(SiteTopology, ASiteCannotLeaveItsPlaceInAName) {
  EXPECT_EQ(siteServersBase("a,cn=b+c", "CN=Configuration,DC=lab,DC=test"),
            "CN=servers,cn=a\\,cn\\=b\\+c,CN=Sites,CN=Configuration,DC=lab,DC=test");
}

TEST(SiteTopology, WithoutABindingItsMessageIsShown) {
  TaskContext context(nullptr, "lab.test", nullptr);
  context.bindFailed = true;
  context.errorMessage = "LDAP: no luck";
  std::ostringstream verbose;
  testing::internal::CaptureStdout();
  EXPECT_TRUE(listSiteTopology(context, nullptr, &verbose).empty());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "LDAP: no luck\n");
  EXPECT_EQ(verbose.str(), "    Cannot read site data: unable to bind to DC.\n");
}

}  // namespace
}  // namespace joinscope
