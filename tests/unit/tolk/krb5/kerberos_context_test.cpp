// Contexts upon configuration files of all kinds, and the values laid over them.
#include "tolk/krb5/kerberos_context.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/krb5_library.h"
#include "tolk/krb5/profile_overlay.h"
#include "tolk/krb5/scoped_variable.h"

namespace tolk {
namespace {

namespace fs = std::filesystem;

std::string value(krb5_context context, const char* section, const char* name,
                  const char* subname = nullptr) {
  profile_t profile = nullptr;
  if (krb5_get_profile(context, &profile) != 0) return "no profile";
  char* text = nullptr;
  profile_get_string(profile, section, name, subname, "none", &text);
  std::string out = text;
  profile_release_string(text);
  profile_release(profile);
  return out;
}

class KerberosConfiguration : public testing::Test {
 protected:
  KerberosConfiguration() { Props().set(PN::KRB5_CONFFILE_NAME, file); }

  ScratchDirectory directory;
  std::string file = directory.path("krb5.conf");
  ScopedVariable variable{"KRB5_CONFIG", file};
};

TEST_F(KerberosConfiguration, OnlyTheMalformedFileItselfIsMovedAside) {
  const std::string broken = "[libdefaults]\n no equals sign here\n";
  const std::string other = directory.write("parts/other.conf", broken);
  struct Row {
    const char* description;
    std::string text;
    std::string read;  ///< KRB5_CONFIG
    bool moved;
  };
  const Row rows[] = {
      {"itself", broken, file, true},
      {"itself, with an intact include", "include " + directory.write("good", "") + "\n" + broken,
       file, true},
      {"not read", "[libdefaults]\n", other, false},
      {"beside it", "[libdefaults]\n", file + ":" + other, false},
      {"included", "include " + other + "\n[libdefaults]\n", file, false},
      {"in a directory", "includedir " + directory.path("parts") + "\n[libdefaults]\n", file,
       false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.description);
    directory.write("krb5.conf", row.text);
    fs::remove(file + ".bad");
    const ScopedVariable configuration("KRB5_CONFIG", row.read);
    int code = 0;
    try {
      const KerberosContext kerberos;
    } catch (const KerberosException& failure) {
      code = failure.code();
    }
    EXPECT_EQ(code, row.moved ? 0 : static_cast<int>(KRB5_CONFIG_BADFORMAT));
    EXPECT_NE(fs::exists(file), row.moved);
    EXPECT_EQ(fs::exists(file + ".bad"), row.moved);
    EXPECT_TRUE(fs::exists(other));
  }
}

TEST_F(KerberosConfiguration, TheAgentsValuesLieOverThoseOfTheFile) {
  directory.write("krb5.conf",
                  "[libdefaults]\n dns_canonicalize_hostname = true\n ticket_lifetime = 7h\n"
                  "[realms]\n LAB.TEST = {\n  kdc = file.kdc\n  master_kdc = file.master\n }\n");
  const KerberosContext kerberos;
  for (const char* name : {"dns_canonicalize_hostname", "rdns", "dns_lookup_kdc",
                           "dns_lookup_realm", "dns_uri_lookup"}) {
    EXPECT_EQ(value(kerberos.get(), "libdefaults", name), "false") << name;
  }
  EXPECT_EQ(value(kerberos.get(), "libdefaults", "kdc_timesync"), "0");
  EXPECT_EQ(value(kerberos.get(), "libdefaults", "ticket_lifetime"), "7h");
  EXPECT_EQ(value(kerberos.get(), "realms", "LAB.TEST", "kdc"), "file.kdc");

  ProfileOverlay* overlay = KerberosContext::overlayOf(kerberos.get());
  ASSERT_NE(overlay, nullptr);
  overlay->set("realms/*/kdc", "any.kdc");
  overlay->hide("realms/*/master_kdc");
  EXPECT_EQ(value(kerberos.get(), "realms", "LAB.TEST", "kdc"), "any.kdc");
  EXPECT_EQ(value(kerberos.get(), "realms", "ELSEWHERE", "kdc"), "any.kdc");
  EXPECT_EQ(value(kerberos.get(), "realms", "LAB.TEST", "master_kdc"), "none");
}

/// What a library that makes its own context sees.
std::string seen(const char* section, const char* name) {
  krb5_context context = nullptr;
  if (krb5_init_context(&context) != 0) return "no context";
  std::string out = value(context, section, name);
  krb5_free_context(context);
  return out;
}

TEST_F(KerberosConfiguration, GssConfigOverlayHoldsForItsScopeOnly) {
  directory.write("krb5.conf",
                  "[libdefaults]\n ticket_lifetime = 7h\n dns_canonicalize_hostname = true\n");
  krb5_context kept = nullptr;  // keeps the first memory file's content in the library's own store
  {
    const GssConfigOverlay first("LAB.TEST", "dc1.lab.test");
    ASSERT_EQ(krb5_init_context(&kept), 0);
    EXPECT_EQ(seen("libdefaults", "dns_canonicalize_hostname"), "false");
    EXPECT_EQ(seen("libdefaults", "ticket_lifetime"), "7h");
    EXPECT_EQ(seen("domain_realm", "dc1.lab.test"), "LAB.TEST");
  }
  EXPECT_STREQ(std::getenv("KRB5_CONFIG"), file.c_str());
  EXPECT_EQ(seen("libdefaults", "dns_canonicalize_hostname"), "true");
  {
    const GssConfigOverlay second("CHILD.TEST", "dc2.child.test");
    EXPECT_EQ(seen("domain_realm", "dc2.child.test"), "CHILD.TEST");
    EXPECT_EQ(seen("libdefaults", "default_realm"), "CHILD.TEST");
  }
  krb5_free_context(kept);
}

TEST_F(KerberosConfiguration, GssConfigOverlayTakesNoSyntaxFromNames) {
  const ScopedVariable unset("KRB5_CONFIG", std::nullopt);
  const GssConfigOverlay overlay("LAB.TEST", "x = {\n[libdefaults");
  EXPECT_EQ(seen("libdefaults", "default_realm"), "LAB.TEST");
}

}  // namespace
}  // namespace tolk
