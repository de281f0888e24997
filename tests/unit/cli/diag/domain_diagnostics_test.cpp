// Lists and texts that the domain section is made of.
#include "cli/diag/domain_diagnostics.h"

#include <gtest/gtest.h>

#include <sstream>

#include "cli/diag/srv_records.h"

namespace joinscope {
namespace {

tolk::HostPort entry(const char* host, std::int32_t port, std::uint16_t priority = 0) {
  return {.host = host, .text = {}, .port = port, .priority = priority, .weight = 0};
}

std::string shown(const tolk::HostPortList& list) {
  std::ostringstream out;
  printSrvRecords(&out, list);
  return out.str();
}

TEST(MergedServers, CatalogsFirstThenControllersNotYetThere) {
  const tolk::HostPortList catalogs = {entry("b.lab.test", 3268), entry("a.lab.test", 389)};
  const tolk::HostPortList controllers = {entry("c.lab.test", 389), entry("a.lab.test", 389, 9),
                                          entry("b.lab.test", 389), entry("c.lab.test", 389)};
  EXPECT_EQ(shown(mergedServers(catalogs, controllers)),
            "    Found SRV records:\n"
            "      b.lab.test:3268\n"
            "      a.lab.test:389\n"
            "      c.lab.test:389\n"
            "      b.lab.test:389\n");
}

TEST(SrvRecords, TextOfLists) {
  EXPECT_EQ(shown({}), "    Found no SRV records!\n");
  EXPECT_EQ(shown({entry("a.lab.test", tolk::HostPort::NO_PORT), entry("b\x07", 0)}),
            "    Found SRV records:\n"
            "      a.lab.test\n"
            "      b\\x07:0\n");
  printSrvRecords(nullptr, {});
}

}  // namespace
}  // namespace joinscope
