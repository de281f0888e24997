// The computer accounts of keytabs that the Kerberos library itself writes.
#include "tolk/krb5/keytab.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"

namespace tolk {
namespace {

struct Key {
  const char* principal;
  unsigned version;
};

void addKey(krb5_context context, krb5_keytab keytab, const Key& key) {
  Krb5Principal principal(context);
  throwIfKrb5(context, krb5_parse_name(context, key.principal, principal.out()), "parse");
  std::array<krb5_octet, 16> bytes{1, 2, 3};
  krb5_keytab_entry entry{};
  entry.principal = principal.get();
  entry.vno = key.version;
  entry.key = {KV5M_KEYBLOCK, ENCTYPE_AES128_CTS_HMAC_SHA1_96, bytes.size(), bytes.data()};
  throwIfKrb5(context, krb5_kt_add_entry(context, keytab, &entry), "add");
}

TEST(KeytabAccounts, AreThePrincipalsThatEndInADollarEachOnce) {
  const ScratchDirectory scratch;
  KerberosContext kerberos;
  const krb5_context context = kerberos.get();
  Krb5Keytab keytab(context);
  const std::string path = scratch.path("keytab");
  throwIfKrb5(context, krb5_kt_resolve(context, ("WRFILE:" + path).c_str(), keytab.out()), "open");
  for (const Key& key :
       {Key{"HOST1$@LAB.TEST", 2}, Key{"host/host1.lab.test@LAB.TEST", 9},
        Key{"HOST1$@LAB.TEST", 3}, Key{"HOST1$@LAB.TEST", 1}, Key{"user@LAB.TEST", 9},
        Key{"$@LAB.TEST", 9}, Key{"HOST1$@B.TEST", 7}, Key{"a/HOST1$@B.TEST", 7}}) {
    addKey(context, keytab.get(), key);
  }
  const auto accounts = machineAccountsInKeytab(kerberos, path);
  ASSERT_EQ(accounts.size(), 2U);
  EXPECT_EQ(accounts[0].name, "HOST1");
  EXPECT_EQ(accounts[0].realm, "LAB.TEST");
  EXPECT_EQ(accounts[0].principal, "HOST1$@LAB.TEST");
  EXPECT_EQ(accounts[0].keyVersion, 3U);
  EXPECT_GT(accounts[0].newest, 0);  // the library stamps keys itself
  EXPECT_EQ(accounts[1].principal, "HOST1$@B.TEST");
}

TEST(KeytabAccounts, ManyAreReadInLinearTime) {
  constexpr int kAccounts = 20000;
  const auto field = [](const std::string& text) {  // up to 255 bytes, with their number
    return std::string{'\0', static_cast<char>(text.size())} + text;
  };
  std::string bytes = "\5\2";  // the file format's version, then each entry with its size
  for (int i = 0; i < kAccounts; ++i) {
    std::string entry = {'\0', '\1'};  // components
    entry += field("B.TEST") + field("H" + std::to_string(i) + "$");
    entry += std::string(8, '\0') + "\1" + field("").substr(1);  // name type, time, key version
    entry += std::string("\21") + field(std::string(16, 'k'));   // AES-128
    bytes += std::string(3, '\0') + static_cast<char>(entry.size()) + entry;
  }
  const ScratchDirectory scratch;
  KerberosContext kerberos;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(machineAccountsInKeytab(kerberos, scratch.write("many", bytes)).size(), kAccounts);
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
