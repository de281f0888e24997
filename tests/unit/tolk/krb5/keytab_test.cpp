// The computer accounts of keytabs.
#include "tolk/krb5/keytab.h"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/support/keytab_file.h"
#include "tolk/base/exceptions.h"
#include "tolk/krb5/kerberos_context.h"

namespace tolk {
namespace {

using joinscope::test::KeytabFile;
using joinscope::test::KeytabKey;

TEST(KeytabAccounts, AreThePrincipalsThatEndInADollarEachOnce) {
  const KeytabFile file({{"HOST1$@LAB.TEST", 2, 5},
                         {"host/host1.lab.test@LAB.TEST", 9, 9},
                         {"HOST1$@LAB.TEST", 3, 7},
                         {"HOST1$@LAB.TEST", 1, 6},
                         {"user@LAB.TEST", 9, 9},
                         {"$@LAB.TEST", 9, 9},
                         {"HOST1$@B.TEST", 7, 1},
                         {"a/HOST1$@B.TEST", 7, 9}});
  KerberosContext kerberos;
  const auto accounts = machineAccountsInKeytab(kerberos, file.path());
  ASSERT_EQ(accounts.size(), 2U);
  EXPECT_EQ(accounts[0].name, "HOST1");
  EXPECT_EQ(accounts[0].realm, "LAB.TEST");
  EXPECT_EQ(accounts[0].principal, "HOST1$@LAB.TEST");
  EXPECT_EQ(accounts[0].keyVersion, 3U);
  EXPECT_EQ(accounts[0].newest, 7);
  EXPECT_EQ(accounts[1].principal, "HOST1$@B.TEST");
}

TEST(KeytabAccounts, ManyAreReadInLinearTime) {
  constexpr int kAccounts = 20000;
  std::vector<KeytabKey> keys;
  for (int i = 0; i < kAccounts; ++i) keys.push_back({"H" + std::to_string(i) + "$@B.TEST", 1, 0});
  const KeytabFile many(keys);
  KerberosContext kerberos;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(machineAccountsInKeytab(kerberos, many.path()).size(), kAccounts);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(KeytabAccounts, WhatIsNoKeytabIsSaid) {
  const ScratchDirectory scratch;
  KerberosContext kerberos;
  EXPECT_THROW(machineAccountsInKeytab(kerberos, scratch.path("absent")), KerberosException);
  EXPECT_THROW(machineAccountsInKeytab(kerberos, scratch.write("text", "hello, world")),
               KerberosException);
}

}  // namespace
}  // namespace tolk
