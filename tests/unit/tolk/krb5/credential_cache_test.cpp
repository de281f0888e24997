#include "tolk/krb5/credential_cache.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "scripted_kdc.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/scoped_variable.h"

namespace tolk {
namespace {

namespace fs = std::filesystem;

class UserCache : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/user-cache-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    folder = pattern;
    config = folder / "krb5.conf";
    ::setenv("KRB5_CONFIG", config.c_str(), 1);
    // The default is a place of this test, so that the caches of whoever runs it do not matter.
    std::ofstream(config) << "[libdefaults]\n default_ccache_name = FILE:"
                          << (folder / "default").string() << "\n";
    ::unsetenv("KRB5CCNAME");
  }
  void TearDown() override {
    ::unsetenv("KRB5_CONFIG");
    ::unsetenv("KRB5CCNAME");
    fs::remove_all(folder);
  }

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

  std::string file(const char* name) const { return "FILE:" + (folder / name).string(); }

  /// For a user id that has no cache in /tmp.
  std::string find(bool unexpired = true) {
    return Krb5CredentialsCache::GetCCache().findUserCCache(::getuid(), unexpired);
  }

  fs::path folder, config;
};

TEST_F(UserCache, TheConfiguredDefaultCountsUntilItsTicketExpires) {
  store(file("default"), 600);
  EXPECT_EQ(find(), file("default"));
  store(file("default"), -600);
  EXPECT_NE(find(), file("default"));
  EXPECT_EQ(find(false), file("default"));
}

TEST_F(UserCache, TheVariableNamesTheUsersChoice) {
  store(file("default"), 600);
  store(file("chosen"), 600, "bob@TEST.REALM");
  const ScopedVariable variable("KRB5CCNAME", (folder / "chosen").string());  // without a type
  EXPECT_EQ(find(), file("chosen"));
}

TEST_F(UserCache, AChosenCacheWithoutATicketIsNotReplacedByAnother) {
  store(file("default"), 600);
  store(file("chosen"), -600, "bob@TEST.REALM");
  const ScopedVariable variable("KRB5CCNAME", file("chosen"));
  EXPECT_EQ(find(), "");
}

TEST_F(UserCache, WhatIsNoRegularFileOfTheUserIsPassedOver) {
  store(file("default"), 600);
  store(file("real"), 600, "bob@TEST.REALM");
  fs::create_symlink(folder / "real", folder / "link");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const char* name : {"link", "pipe", "missing", ""}) {
    SCOPED_TRACE(name);
    const ScopedVariable variable("KRB5CCNAME", file(name));
    EXPECT_EQ(find(), file("default"));
  }
  if (::geteuid() != 0) return;
  ASSERT_EQ(::chown((folder / "real").c_str(), 65534, 65534), 0);
  const ScopedVariable variable("KRB5CCNAME", file("real"));
  EXPECT_EQ(find(), file("default"));
}

TEST_F(UserCache, ACollectionIsSearchedForATicketThatCounts) {
  const fs::path collection = folder / "collection";
  fs::create_directory(collection);
  fs::permissions(collection, fs::perms::owner_all);
  const std::string expired = "DIR::" + (collection / "tkt1").string();
  const std::string valid = "DIR::" + (collection / "tkt2").string();
  store(expired, -600);
  store(valid, 600, "bob@TEST.REALM");
  const ScopedVariable variable("KRB5CCNAME", "DIR:" + collection.string());
  EXPECT_EQ(find(), valid);
}

TEST_F(UserCache, AMalformedConfigurationIsLeftInPlace) {
  store(file("chosen"), 600);
  std::ofstream(config) << "[libdefaults]\n no equals sign here\n";
  const ScopedVariable variable("KRB5CCNAME", file("chosen"));
  EXPECT_EQ(find(), file("chosen"));
  EXPECT_TRUE(fs::exists(config));
  EXPECT_FALSE(fs::exists(config.string() + ".bad"));
}

TEST_F(UserCache, AServiceTicketAloneIsNoLogin) {
  store(file("default"), 600);
  // The same file with the ticket's realm changed: no ticket granting ticket of the client's own
  // realm.
  std::fstream cache(folder / "default", std::ios::in | std::ios::out | std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(cache), {}};
  const std::size_t at = content.rfind("krbtgt");
  ASSERT_NE(at, std::string::npos);
  for (std::size_t i = content.find("krbtgt"); i != std::string::npos;
       i = content.find("krbtgt", i + 1))
    content.replace(i, 6, "ldapxx");
  std::ofstream(folder / "default", std::ios::binary) << content;
  EXPECT_EQ(find(), "");
}

TEST_F(UserCache, AnyCutOffCacheIsPassedOver) {
  store(file("default"), 600);
  std::ifstream in(folder / "default", std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(in), {}};
  for (std::size_t size = 0; size < whole.size(); ++size) {
    std::ofstream(folder / "default", std::ios::binary) << whole.substr(0, size);
    EXPECT_EQ(find(), "") << "cut at " << size;
  }
}

TEST(UniqueMemCacheName, DiffersForEachOwner) {
  int owners[2] = {};
  EXPECT_EQ(UniqueMemCacheName(&owners[0]).substr(0, 7), "MEMORY:");
  EXPECT_EQ(UniqueMemCacheName(&owners[0]), UniqueMemCacheName(&owners[0]));
  EXPECT_NE(UniqueMemCacheName(&owners[0]), UniqueMemCacheName(&owners[1]));
}

}  // namespace
}  // namespace tolk
