// Construction of the task context from join settings of all kinds.
#include "cli/common/task_context.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/join_settings.h"

namespace joinscope {
namespace {

// "text" is the setting's content, "-" no file, "/" a directory in its place: it cannot be read,
// not even by root.
void place(const ScratchDirectory& directory, const std::string& name, const std::string& text) {
  if (text == "/") {
    std::filesystem::create_directory(directory.path("kset." + name));
  } else if (text != "-") {
    directory.write("kset." + name, text);
  }
}

TEST(TaskContext, ReadsTheJoin) {
  struct Case {
    const char* what;
    std::string domain, hostName, preWin2k;
    const char* argument;
    bool joined;
    std::string expected;  // joined domain, domain, host name, pre-Windows-2000 name
  };
  const std::vector<Case> cases{
      {"joined", "lab.test\n", "host1.lab.test", "HOST1", nullptr, true,
       "lab.test,lab.test,host1.lab.test,HOST1"},
      {"joined, other domain", "lab.test", "host1.lab.test", "-", "other.test", true,
       "lab.test,other.test,host1.lab.test,HOST1"},
      {"not joined", "-", "-", "-", "", false, ",,,"},
      {"half joined", "lab.test", "-", "-", nullptr, false, "lab.test,lab.test,,"},
      {"domain unreadable", "/", "host1.lab.test", "-", nullptr, false,
       "<unavailable>,<unavailable>,,"},
      {"name unreadable", "lab.test", "host1.lab.test", "/", nullptr, false,
       "lab.test,lab.test,host1.lab.test,"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.what);
    const ScratchDirectory directory;
    place(directory, "domain", row.domain);
    place(directory, "hostname", row.hostName);
    place(directory, "prew2khostname", row.preWin2k);
    const TaskContext context(nullptr, row.argument, nullptr, tolk::JoinSettings(directory.path()));
    EXPECT_EQ(context.joined, row.joined);
    EXPECT_EQ(context.domainGiven, row.argument != nullptr);
    EXPECT_EQ(context.joinedDomain + ',' + context.domain + ',' + context.hostName + ',' +
                  context.preWin2kHostName,
              row.expected);
  }
}

TEST(TaskContext, TellsWhatIsWrongWithTheSettings) {
  struct Case {
    std::string domain, identifier, zone;
    const char* said;  ///< part of the one line; null for none
  };
  for (const Case& row : {
           Case{"lab.test", "S-1-5-21-1-2-3-4", "-", nullptr},
           Case{"/", "S-1-5-21-1-2-3-4", "-", "kset.domain: Is a directory"},
           Case{"lab.test", "/", "-", "kset.hostsid: Is a directory"},
           Case{"-", "S-1-5-21-1-2-3-4", "-", "kset.domain is missing or empty, while others"},
           Case{"lab.test", " ", "x", "kset.hostsid is missing or empty, while others"},
       }) {
    const ScratchDirectory directory;
    place(directory, "domain", row.domain);
    place(directory, "hostname", "host1.lab.test");
    place(directory, "hostsid", row.identifier);
    place(directory, "zone", row.zone);
    std::ostringstream told;
    const TaskContext context(nullptr, nullptr, &told, tolk::JoinSettings(directory.path()));
    const std::string text = told.str();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), row.said == nullptr ? 0 : 1) << text;
    EXPECT_NE(text.find(row.said == nullptr ? "" : row.said), std::string::npos) << text;
  }
  std::ostringstream told;
  const ScratchDirectory none;
  const TaskContext unjoined(nullptr, nullptr, &told, tolk::JoinSettings(none.path()));
  EXPECT_EQ(told.str(), "");
}

}  // namespace
}  // namespace joinscope
