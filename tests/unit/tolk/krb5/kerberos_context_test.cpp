// Contexts upon configuration files of all kinds, and the values laid over them.
#include "tolk/krb5/kerberos_context.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/gss_config_overlay.h"
#include "tolk/krb5/krb5_library.h"
#include "tolk/krb5/profile_overlay.h"
#include "tolk/krb5/scoped_variable.h"

namespace tolk {
namespace {

namespace fs = std::filesystem;

constexpr char kMalformed[] = "[libdefaults]\n no equals sign here\n";

void write(const fs::path& path, const std::string& text) {
  std::ofstream(path) << text;
}

std::string read(const fs::path& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::string value(profile_t profile, const char* section, const char* name,
                  const char* subname = nullptr) {
  char* text = nullptr;
  profile_get_string(profile, section, name, subname, "none", &text);
  std::string out = text;
  profile_release_string(text);
  return out;
}

std::string value(krb5_context context, const char* section, const char* name,
                  const char* subname = nullptr) {
  profile_t profile = nullptr;
  if (krb5_get_profile(context, &profile) != 0) return "no profile";
  std::string out = value(profile, section, name, subname);
  profile_release(profile);
  return out;
}

class KerberosConfiguration : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/krb5-context-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    folder = pattern;
    file = folder / "krb5.conf";
    aside = folder / "krb5.conf.bad";
    Props().set(PN::KRB5_CONFFILE_NAME, file);
  }
  void TearDown() override {
    Props().set(PN::KRB5_CONFFILE_NAME, "/etc/krb5.conf");
    fs::remove_all(folder);
  }

  int contextFailure() {
    try {
      const KerberosContext kerberos;
      return 0;
    } catch (const KerberosException& failure) {
      return failure.code();
    }
  }

  fs::path folder, file, aside;
};

TEST_F(KerberosConfiguration, AMalformedFileIsMovedAsideOverAnOlderOne) {
  const ScopedVariable variable("KRB5_CONFIG", file.string());
  write(file, kMalformed);
  write(aside, "older");
  EXPECT_EQ(contextFailure(), 0);
  EXPECT_FALSE(fs::exists(file));
  EXPECT_EQ(read(aside), kMalformed);
}

TEST_F(KerberosConfiguration, AMalformedFileThatCannotBeMovedEndsTheAttempt) {
  const ScopedVariable variable("KRB5_CONFIG", file.string());
  write(file, kMalformed);
  fs::create_directories(aside / "in the way");
  EXPECT_EQ(contextFailure(), static_cast<int>(KRB5_CONFIG_BADFORMAT));
  EXPECT_EQ(read(file), kMalformed);
}

TEST_F(KerberosConfiguration, AFileThatTheLibraryDidNotReadIsLeftAlone) {
  const fs::path other = folder / "other.conf";
  const ScopedVariable variable("KRB5_CONFIG", other.string());
  write(file, "[libdefaults]\n");
  write(other, kMalformed);
  EXPECT_EQ(contextFailure(), static_cast<int>(KRB5_CONFIG_BADFORMAT));
  EXPECT_TRUE(fs::exists(file));
  EXPECT_EQ(read(other), kMalformed);
}

TEST_F(KerberosConfiguration, TheAgentsValuesLieOverThoseOfTheFile) {
  const ScopedVariable variable("KRB5_CONFIG", file.string());
  const std::string text =
      "[libdefaults]\n dns_lookup_kdc = true\n ticket_lifetime = 7h\n"
      "[realms]\n LAB.TEST = {\n  kdc = file.kdc\n  master_kdc = file.master\n }\n";
  write(file, text);
  const KerberosContext kerberos;
  EXPECT_EQ(value(kerberos.get(), "libdefaults", "dns_lookup_kdc"), "false");
  EXPECT_EQ(value(kerberos.get(), "libdefaults", "ticket_lifetime"), "7h");
  EXPECT_EQ(value(kerberos.get(), "realms", "LAB.TEST", "kdc"), "file.kdc");

  ProfileOverlay* overlay = KerberosContext::overlayOf(kerberos.get());
  ASSERT_NE(overlay, nullptr);
  overlay->set("realms/*/kdc", "any.kdc");
  overlay->hide("realms/*/master_kdc");
  EXPECT_EQ(value(kerberos.get(), "realms", "LAB.TEST", "kdc"), "any.kdc");
  EXPECT_EQ(value(kerberos.get(), "realms", "ELSEWHERE", "kdc"), "any.kdc");
  EXPECT_EQ(value(kerberos.get(), "realms", "LAB.TEST", "master_kdc"), "none");
  EXPECT_EQ(read(file), text);
}

TEST_F(KerberosConfiguration, AContextWithoutAnyFileIsAsGood) {
  const ScopedVariable variable("KRB5_CONFIG", (folder / "missing").string());
  const KerberosContext kerberos;
  EXPECT_EQ(value(kerberos.get(), "libdefaults", "rdns"), "false");
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
  const ScopedVariable variable("KRB5_CONFIG", file.string());
  write(file, "[libdefaults]\n ticket_lifetime = 7h\n dns_canonicalize_hostname = true\n");
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
  const ScopedVariable variable("KRB5_CONFIG", std::nullopt);
  const GssConfigOverlay overlay("LAB.TEST", "x = {\n[libdefaults");
  EXPECT_EQ(seen("libdefaults", "default_realm"), "LAB.TEST");
}

}  // namespace
}  // namespace tolk
