#include "tolk/krb5/credential_cache.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "scripted_kdc.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/scoped_variable.h"

namespace tolk {
namespace {

class UserCache : public testing::Test {
 protected:
  void store(const std::string& name, int seconds, const char* client = "alice@TEST.REALM") {
    krb5_context context = nullptr;
    ASSERT_EQ(krb5_init_context(&context), 0);
    {
      Krb5OpenCache cache(context);
      ASSERT_EQ(krb5_cc_resolve(context, name.c_str(), cache.out()), 0);
      test::storeTicket(context, cache.get(), client, seconds);
    }
    krb5_free_context(context);
  }

  std::string file(const char* name) const { return "FILE:" + directory.path(name); }

  /// For a user id that has no cache in /tmp.
  std::string find(bool unexpired = true) {
    return Krb5CredentialsCache::GetCCache().findUserCCache(::getuid(), unexpired);
  }

  ScratchDirectory directory;
  /// The default is a place of this test, so that the caches of whoever runs it do not matter.
  std::string config = directory.write(
      "krb5.conf", "[libdefaults]\n default_ccache_name = " + file("default") + "\n");
  ScopedVariable configVariable{"KRB5_CONFIG", config};
  ScopedVariable noChoice{"KRB5CCNAME", std::nullopt};
};

TEST_F(UserCache, TheConfiguredDefaultCountsUntilItsTicketExpires) {
  store(file("default"), 600);
  EXPECT_EQ(find(), file("default"));
  store(file("default"), -600);
  EXPECT_NE(find(), file("default"));
  EXPECT_EQ(find(false), file("default"));
}

TEST_F(UserCache, TheVariableNamesTheUsersChoiceWhichNoOtherReplaces) {
  store(file("default"), 600);
  store(file("chosen"), 600, "bob@TEST.REALM");
  const ScopedVariable variable("KRB5CCNAME", directory.path("chosen"));  // without a type
  EXPECT_EQ(find(), file("chosen"));
  store(file("chosen"), -600, "bob@TEST.REALM");
  EXPECT_EQ(find(), "");
}

TEST_F(UserCache, WhatIsNoRegularFileOfTheUserIsPassedOver) {
  store(file("default"), 600);
  store(file("real"), 600, "bob@TEST.REALM");
  std::filesystem::create_symlink(directory.path("real"), directory.path("link"));
  ASSERT_EQ(::mkfifo(directory.path("pipe").c_str(), 0600), 0);
  for (const char* name : {"link", "pipe", "missing", ""}) {
    SCOPED_TRACE(name);
    const ScopedVariable variable("KRB5CCNAME", file(name));
    EXPECT_EQ(find(), file("default"));
  }
  if (::geteuid() != 0) return;
  ASSERT_EQ(::chown(directory.path("real").c_str(), 65534, 65534), 0);
  const ScopedVariable variable("KRB5CCNAME", file("real"));
  EXPECT_EQ(find(), file("default"));
}

TEST_F(UserCache, ACollectionIsSearchedForATicketThatCounts) {
  const std::string collection = directory.path("collection");
  std::filesystem::create_directory(collection);
  const std::string expired = "DIR::" + collection + "/tkt1";
  const std::string valid = "DIR::" + collection + "/tkt2";
  store(expired, -600);
  store(valid, 600, "bob@TEST.REALM");
  const ScopedVariable variable("KRB5CCNAME", "DIR:" + collection);
  EXPECT_EQ(find(), valid);
}

TEST_F(UserCache, AMalformedConfigurationIsLeftInPlace) {
  store(file("chosen"), 600);
  directory.write("krb5.conf", "[libdefaults]\n no equals sign here\n");
  const ScopedVariable variable("KRB5CCNAME", file("chosen"));
  EXPECT_EQ(find(), file("chosen"));
  EXPECT_TRUE(std::filesystem::exists(config));
}

TEST_F(UserCache, ACutOffCacheOrOneWithTicketsForOthersAloneIsPassedOver) {
  store(file("default"), 600);
  std::ifstream in(directory.path("default"), std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(in), {}};
  for (std::size_t size = 0; size < content.size(); ++size) {
    directory.write("default", content.substr(0, size));
    EXPECT_EQ(find(), "") << "cut at " << size;
  }
  // Names follow their length in four bytes: a ticket for another realm, and one for a service.
  content.replace(content.find("TEST.REALM", content.find("krbtgt")), 4, "ELSE");
  directory.write("default", content);
  EXPECT_EQ(find(), "");
  content.replace(content.find("krbtgt"), 6, "ldapxx");
  directory.write("default", content);
  EXPECT_EQ(find(), "");
}

}  // namespace
}  // namespace tolk
