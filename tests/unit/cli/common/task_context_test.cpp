// Construction of the task context from join settings of all kinds.
#include "cli/common/task_context.h"

#include <gtest/gtest.h>

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

TEST(TaskContext, TellsTheDiagnosticStreamWhatItCannotRead) {
  const ScratchDirectory directory;
  place(directory, "domain", "/");
  std::ostringstream diag;
  const TaskContext context(nullptr, nullptr, &diag, tolk::JoinSettings(directory.path()));
  EXPECT_EQ(diag.str().find("  Cannot read join setting: "), 0U);
  EXPECT_NE(diag.str().find(directory.path("kset.domain")), std::string::npos);
}

}  // namespace
}  // namespace joinscope
