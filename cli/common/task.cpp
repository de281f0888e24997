// The tasks' names.
#include "cli/common/task.h"

#include <array>

namespace joinscope {
namespace {

struct TaskName {
  Task task;
  const char* name;
};

constexpr std::array kNames{
    TaskName{Task::all, "all"},
    TaskName{Task::diag, "diag"},
    TaskName{Task::domain, "domain"},
    TaskName{Task::zone, "zone"},
    TaskName{Task::zonedn, "zonedn"},
    TaskName{Task::site, "site"},
    TaskName{Task::server, "server"},
    TaskName{Task::name, "name"},
    TaskName{Task::mode, "mode"},
    TaskName{Task::config, "config"},
    TaskName{Task::support, "support"},
    TaskName{Task::debugcache, "debugcache"},
    TaskName{Task::computer, "computer"},
    TaskName{Task::auth, "auth"},
    TaskName{Task::ntlmauth, "ntlmauth"},
    TaskName{Task::joinedCount, "joined count"},
    TaskName{Task::version, "version"},
    TaskName{Task::productVersion, "product-version"},
    TaskName{Task::globalCatalog, "global catalog"},
    TaskName{Task::sysinfo, "sysinfo"},
};

}  // namespace

const char* taskName(Task task) noexcept {
  for (const TaskName& row : kNames) {
    if (row.task == task) return row.name;
  }
  return "<unknown>";
}

}  // namespace joinscope
