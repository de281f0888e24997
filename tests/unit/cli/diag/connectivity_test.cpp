// The order of the text around probes of real sockets, and what is kept of the lists.
#include "cli/diag/connectivity.h"

#include <gtest/gtest.h>

#include "cli/common/task_context.h"
#include "tests/support/tcp_port.h"

namespace joinscope {
namespace {

using tolk::test::Listener;

tolk::HostPort entry(const sockaddr_in& address) {
  return {
      .host = "127.0.0.1", .text = {}, .port = ntohs(address.sin_port), .priority = 0, .weight = 0};
}

TEST(Connectivity, ListsKeepReachableServersInOrder) {
  const Listener open;
  const Listener other;
  const sockaddr_in closed = tolk::test::closedAddress();
  TaskContext context(nullptr, "lab.test", nullptr);
  tolk::HostPortList catalogs = {entry(closed), entry(open.where()), entry(closed),
                                 entry(other.where())};
  tolk::HostPortList controllers = {entry(closed)};
  testing::internal::CaptureStdout();
  testConnectivity(context, catalogs, controllers, nullptr);
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(catalogs, (tolk::HostPortList{entry(open.where()), entry(other.where())}));
  EXPECT_TRUE(controllers.empty());
  EXPECT_EQ(text.rfind("  Testing Active Directory connectivity:\n    Global Catalog: ", 0), 0U);
  EXPECT_GT(text.find("    Domain Controller: "), text.rfind("    Global Catalog: "));
}

}  // namespace
}  // namespace joinscope
