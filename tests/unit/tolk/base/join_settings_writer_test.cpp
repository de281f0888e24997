// Writing and setting aside the join settings on a real file system.
#include "tolk/base/join_settings_writer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"

namespace tolk {
namespace {

namespace fs = std::filesystem;

std::set<std::string> filesIn(const std::string& directory) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    if (entry.is_regular_file()) names.insert(entry.path().filename());
  }
  return names;
}

TEST(JoinSettingsWriter, ReplacesAllSettingsForEverybodyToRead) {
  const ScratchDirectory scratch;
  const std::string directory = scratch.path("orvald");
  scratch.write("orvald/kset.zoneguid", "of the join before");
  scratch.write("orvald/.kset.domain.new", "left by a crash");
  scratch.write("orvald/other", "not a setting");
  const mode_t before = ::umask(077);
  writeJoinSettings(directory, {{"domain", "lab.test"}, {"hostname", "h.lab.test"}, {"site", ""}});
  ::umask(before);
  EXPECT_EQ(filesIn(directory), (std::set<std::string>{"kset.domain", "kset.hostname", "other"}));
  EXPECT_EQ(JoinSettings(directory).load("domain", false, true), "lab.test");
  EXPECT_TRUE(JoinSettings(directory).joined());
  EXPECT_EQ(fs::status(directory + "/kset.domain").permissions(), fs::perms(0644));
}

TEST(JoinSettingsWriter, FailureBeforeTheFirstRenameChangesNothing) {
  const ScratchDirectory scratch;
  const std::string directory = scratch.path("orvald");
  scratch.write("orvald/kset.domain", "old.test");
  scratch.write("orvald/kset.hostname", "h.old.test");
  // A folder is in the way of one of the temporary files.
  fs::create_directory(directory + "/.kset.site.new");
  EXPECT_THROW(writeJoinSettings(
                   directory, {{"domain", "new.test"}, {"hostname", "h.new.test"}, {"site", "s"}}),
               IOException);
  for (const char* site : {"Paris\nkset", "\x1b[2J", "\xff"}) {
    EXPECT_THROW(writeJoinSettings(directory, {{"domain", "new.test"}, {"site", site}}),
                 BadDataException);
  }
  EXPECT_EQ(filesIn(directory), (std::set<std::string>{"kset.domain", "kset.hostname"}));
  EXPECT_EQ(JoinSettings(directory).load("domain", false, true), "old.test");
}

TEST(JoinSettingsWriter, DomainAndHostNameAreInPlaceLast) {
  const ScratchDirectory scratch;
  const std::string directory = scratch.path("orvald");
  // The rename of the site fails: the host must not count as joined.
  fs::create_directories(directory + "/kset.site/in the way");
  EXPECT_THROW(
      writeJoinSettings(directory, {{"domain", "d.test"}, {"hostname", "h.d.test"}, {"site", "s"}}),
      IOException);
  EXPECT_FALSE(JoinSettings(directory).joined());
  EXPECT_EQ(filesIn(directory), std::set<std::string>());
}

TEST(JoinSettingsWriter, RetiredSettingsReplaceTheOnesBefore) {
  const ScratchDirectory scratch;
  const std::string directory = scratch.path("orvald");
  EXPECT_THROW(retireJoinSettings(directory), NotFoundException);
  scratch.write("orvald/previous/kset.zone", "of the join before the last");
  writeJoinSettings(directory, {{"domain", "lab.test"}, {"hostname", "h.lab.test"}});
  retireJoinSettings(directory);
  const JoinSettings settings(directory);
  EXPECT_FALSE(settings.joined());
  EXPECT_EQ(settings.load("domain", true, true), "lab.test");
  EXPECT_EQ(settings.load("zone", true, false), "");
}

}  // namespace
}  // namespace tolk
