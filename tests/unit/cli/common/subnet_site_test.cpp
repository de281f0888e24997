// The site lookup where no controller can be reached.
#include "cli/common/subnet_site.h"

#include <gtest/gtest.h>

#include <sstream>

namespace joinscope {
namespace {

TEST(SubnetSite, SaysWhatIsAskedAndWhyItFailed) {
  std::ostringstream diag;
  EXPECT_EQ(lookupSubnetSite("", "Default\x1b", "", &diag), "");
  EXPECT_EQ(diag.str(), "  Retrieving site information from site='Default\\x1B', server=any\n");

  // Nothing speaks connectionless LDAP here; the loopback address refuses at once.
  diag.str("");
  EXPECT_EQ(lookupSubnetSite("lab.test", "", "127.0.0.1", &diag), "");
  const std::string head =
      "  Retrieving site information from site=any, server='127.0.0.1'\n  Exception: ";
  EXPECT_EQ(diag.str().substr(0, head.size()), head);
  EXPECT_GT(diag.str().size(), head.size() + 1);
  EXPECT_EQ(lookupSubnetSite("lab.test", "", "127.0.0.1", nullptr), "");
}

}  // namespace
}  // namespace joinscope
