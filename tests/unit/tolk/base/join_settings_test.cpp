// Join settings in files: absent, empty, unreadable and damaged ones.
#include "tolk/base/join_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

class JoinSettingsTest : public testing::Test {
 protected:
  void join() const {
    directory_.write("kset.domain", "example.com\n");
    directory_.write("kset.hostname", "host1.example.com\n");
    directory_.write("krb5.keytab", std::string("\x05\x02\x00\x00\x00\x10", 6));
  }

  // What checkEssential complains about, "" when it is content.
  [[nodiscard]] std::string complaint() const {
    try {
      settings_.checkEssential(directory_.path("krb5.keytab"));
      return "";
    } catch (const TOLKException& e) {
      return e.what();
    }
  }

  ScratchDirectory directory_;
  JoinSettings settings_{directory_.path()};
};

TEST_F(JoinSettingsTest, ValueIsTheTrimmedContent) {
  directory_.write("kset.cloudconnectors", "\n a|b \n c|d\n\n");
  directory_.write("previous/kset.domain", "old.example.com");
  directory_.write("kset.zone", " \n");
  EXPECT_EQ(settings_.load(SETTING_CLOUD_CONNECTORS, false, true), "a|b \n c|d");
  EXPECT_EQ(settings_.load(SETTING_DOMAIN_NAME, true, true), "old.example.com");
  EXPECT_EQ(settings_.load(SETTING_DOMAIN_NAME, false, false), "");
  EXPECT_THROW((void)settings_.load(SETTING_DOMAIN_NAME, false, true), NotFoundException);
  EXPECT_THROW((void)settings_.load(SETTING_ZONE_REALNAME, false, true), NotFoundException);
}

TEST_F(JoinSettingsTest, JoinedWantsDomainAndHostName) {
  EXPECT_FALSE(JoinSettings(directory_.path("absent")).joined());
  directory_.write("kset.domain", "example.com");
  EXPECT_FALSE(settings_.joined());
  directory_.write("kset.hostname", "\n");
  EXPECT_FALSE(settings_.joined());
  join();
  EXPECT_TRUE(settings_.joined());
}

TEST_F(JoinSettingsTest, AStateThatCannotBeReadIsNotUnjoined) {
  std::filesystem::create_directory(directory_.path("kset.domain"));
  EXPECT_THROW((void)settings_.joined(), IOException);
  EXPECT_THROW((void)JoinSettings(directory_.write("file", "")).joined(), IOException);
  directory_.write("kset.schema", std::string((std::size_t{1} << 20U) + 1, 'x'));
  EXPECT_THROW((void)settings_.load(SETTING_SCHEMA, false, false), IOException);
}

TEST_F(JoinSettingsTest, NetBiosNameFallsBackToTheHostName) {
  EXPECT_FALSE(settings_.preW2KHostName().empty());  // of this system
  directory_.write("kset.hostname", "a-rather-long-host-name.example.com");
  EXPECT_EQ(settings_.preW2KHostName(), "A-RATHER-LONG-H");
  directory_.write("kset.prew2khostname", "HOST1\n");
  EXPECT_EQ(settings_.preW2KHostName(), "HOST1");
}

TEST_F(JoinSettingsTest, DamageIsNamedWithItsRemedy) {
  struct Row {
    const char* file;
    std::string content;
    std::string named;
  };
  const Row rows[] = {
      {"kset.domain", "", "kset.domain is missing or empty"},
      {"kset.domain", "ex\x1b[2Jample.com", "\"ex\\x1B[2Jample.com\""},
      {"kset.domain", "example..com", "recorded domain \"example..com\""},
      {"kset.hostname", "host1", "recorded host name \"host1\""},
      {"kset.hostname", std::string(64, 'a') + ".example.com", "recorded host name"},
      {"krb5.keytab", "secret text", "krb5.keytab is not a keytab"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.named);
    join();
    EXPECT_EQ(complaint(), "");
    directory_.write(row.file, row.content);
    EXPECT_THAT(complaint(), testing::HasSubstr(row.named));
    EXPECT_THAT(complaint(), testing::HasSubstr("oin this computer to the domain again."));
    EXPECT_THAT(complaint(), Not(testing::HasSubstr("secret")));
  }
  join();
  std::filesystem::remove(directory_.path("krb5.keytab"));
  EXPECT_THAT(complaint(), testing::HasSubstr("krb5.keytab: No such file or directory"));
}

}  // namespace
}  // namespace tolk
