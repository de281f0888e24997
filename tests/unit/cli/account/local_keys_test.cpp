// The keytab scan, and the key version made of it.
#include "cli/account/local_keys.h"

#include <gtest/gtest.h>
#include <krb5.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>

#include "cli/account/binding.h"
#include "cli/account/computer_account.h"
#include "cli/common/task_context.h"
#include "tests/support/keytab_file.h"
#include "tolk/base/exceptions.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

using test::KeytabFile;
using test::KeytabKey;

constexpr std::uint32_t kMorning = 1763800000;  // 22 November 2025, 08:26:40 UTC
constexpr int kRc4 = 23;

class LocalKeys : public testing::Test {
 protected:
  LocalKeys() : context(nullptr, "lab.test", nullptr) {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    ensureKerberosContext(context);
  }
  ~LocalKeys() override { ::unsetenv("TZ"); }

  /// The result, or code and text of the failure.
  std::string scan(std::ostream* verbose = nullptr) {
    try {
      return std::to_string(latestLocalKeyVersion(context, verbose));
    } catch (const tolk::KerberosException& failure) {
      return std::to_string(failure.code()) + " " + failure.what();
    }
  }

  KeytabFile keytab;
  TaskContext context;
};

TEST_F(LocalKeys, TheNewestKeyOfTheRealmCounts) {
  struct Case {
    const char* what;
    std::vector<KeytabKey> keys;
    const char* expected;
  };
  const Case cases[] = {
      {"written in the order 3, 5, 4",
       {{"HOST1$@LAB.TEST", 3, kMorning},
        {"HOST1$@LAB.TEST", 5, kMorning + 1},
        {"HOST1$@LAB.TEST", 4, kMorning + 2}},
       "4"},
      {"the newest lies first",
       {{"HOST1$@LAB.TEST", 7, kMorning + 9}, {"HOST1$@LAB.TEST", 8, kMorning}},
       "7"},
      {"same second", {{"HOST1$@LAB.TEST", 2, kMorning}, {"HOST1$@LAB.TEST", 3, kMorning}}, "2"},
      {"another realm's key is newer",
       {{"HOST1$@LAB.TEST", 2, kMorning}, {"HOST1$@OTHER.TEST", 9, kMorning + 5}},
       "2"},
      {"only the realm as it is spelled",
       {{"HOST1$@lab.test", 2, kMorning}, {"HOST1$@LAB.TEST.SUB", 3, kMorning}},
       "0 no keys found"},
      {"after January 2038",
       {{"HOST1$@LAB.TEST", 4, 0x80000000U + 60}, {"HOST1$@LAB.TEST", 3, kMorning}},
       "4"},
      {"no keys", {}, "0 no keys found"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.what);
    const KeytabFile file(row.keys);
    EXPECT_EQ(scan(), row.expected);
  }
}

TEST_F(LocalKeys, ListsTheKeysInAColumnThatGrows) {
  keytab.add({"H$@LAB.TEST", 3, kMorning, kRc4});
  keytab.add({"X$@OTHER.TEST", 3, kMorning});
  keytab.add({"host/h.lab.test@LAB.TEST", 12, kMorning + 3600});
  keytab.add({"H$@LAB.TEST", 123, kMorning, kRc4});
  std::ostringstream verbose;
  EXPECT_EQ(scan(&verbose), "12");
  EXPECT_EQ(verbose.str(),
            "  Examining local keys\n    Keys in " + keytab.path() +
                " for lab.test\n"
                "      version - timestamp - principal - encryption\n"
                "        3  11/22/25 08:26:40  H$@LAB.TEST  ArcFour with HMAC/md5\n"
                "       12  11/22/25 09:26:40  host/h.lab.test@LAB.TEST  AES-256 CTS mode with "
                "96-bit SHA-1 HMAC\n"
                "      123  11/22/25 08:26:40  H$@LAB.TEST               ArcFour with HMAC/md5\n"
                "      Most recent local key version: 12\n");
}

TEST_F(LocalKeys, FailuresCarryTheCode) {
  std::filesystem::remove(keytab.path());
  EXPECT_EQ(scan(),
            "2 while starting keytab scan:Key table file '" + keytab.path() + "' not found");
  context.kerberosContext.reset();
  EXPECT_EQ(scan(), "0 authentication failure");
}

/// The text behind "Key Version: " for a version in the directory, "" for none.
std::string keyVersion(TaskContext& context, const std::string& inDirectory,
                       std::ostream* verbose = nullptr) {
  tolk::ADObject object("CN=HOST1,DC=lab,DC=test");
  object[tolk::AD_NAME] = "HOST1";
  if (!inDirectory.empty()) object[tolk::AD_KEY_VERSION_NUMBER] = inDirectory;
  return keyVersionText(context, object, verbose);
}

TEST_F(LocalKeys, RootSeesTheLocalVersionWhereTheDirectoryHasNone) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  keytab.add({"HOST1$@LAB.TEST", 5, kMorning});
  std::ostringstream verbose;
  EXPECT_EQ(keyVersion(context, "4"), "4");
  EXPECT_EQ(keyVersion(context, ""), "   (local key version: 5)");
  EXPECT_EQ(keyVersion(context, "many", &verbose), "   (local key version: 5)");
  EXPECT_TRUE(verbose.str().starts_with("    While accessing index msDS-KeyVersionNumber: "))
      << verbose.str();
  context.win2kController = true;
  EXPECT_EQ(keyVersion(context, "4"), "0");
}

TEST_F(LocalKeys, AKeytabThatCannotBeReadLeavesTheDirectorysVersion) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  std::ostringstream verbose;
  EXPECT_EQ(keyVersion(context, "4", &verbose), "4");
  EXPECT_TRUE(verbose.str().starts_with("    Kerberos key number from computer account: 4\n"));
  EXPECT_TRUE(verbose.str().ends_with("    Kerberos error: rc=0 no keys found\n"));
}

}  // namespace
}  // namespace joinscope
