// Construction of the task context from join settings of all kinds, and the order of its release.
#include "cli/common/task_context.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/join_settings.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/ldap/ad_binding.h"

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

// Notes when it is released, and whether the Kerberos members were there then.
class NotingBinding : public tolk::ADBinding {
 public:
  NotingBinding(TaskContext& context, const char* name, std::string& notes)
      : ADBinding("lab.test", "MEMORY:none", context.kerberosContext.get(), false, "", "", false,
                  false),
        context_(context),
        name_(name),
        notes_(notes) {}
  ~NotingBinding() override {
    notes_ += name_;
    if (context_.memCache && context_.kerberosContext) notes_ += " before the cache;";
  }

 private:
  TaskContext& context_;
  std::string name_;
  std::string& notes_;
};

TEST(TaskContext, ReleasesBindingsBeforeWhatTheyNeed) {
  std::string notes;
  {
    const ScratchDirectory directory;
    TaskContext context(nullptr, nullptr, nullptr, tolk::JoinSettings(directory.path()));
    context.kerberosContext = std::make_unique<tolk::KerberosContext>();
    context.memCache = std::make_unique<tolk::KerberosCCache>(context.kerberosContext->get());
    context.gcBinding.reset(new NotingBinding(context, "catalog", notes));
    context.binding.reset(new NotingBinding(context, "domain", notes));
  }
  EXPECT_EQ(notes, "domain before the cache;catalog before the cache;");
}

}  // namespace
}  // namespace joinscope
