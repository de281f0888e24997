// Each is a join setting or one question to the daemon, and a status that scripts can test.
#include "cli/status/single_values.h"

#include <iostream>
#include <string>
#include <string_view>

#include "cli/common/exit_status.h"
#include "cli/common/task_context.h"
#include "cli/status/join_setting.h"
#include "facts/agent_state.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

int printValue(const TaskContext& context, const std::string& value) {
  if (!context.joined || value == kUnavailable) return exit_status::kNotJoined;
  std::cout << tolk::printable(value) << '\n' << std::flush;
  return exit_status::kSuccess;
}

int printSetting(TaskContext& context, std::string_view key) {
  return printValue(context, getJoinSetting(context, key, kUnavailable, nullptr, nullptr, false));
}

}  // namespace

int printDomain(TaskContext& context) {
  return printSetting(context, tolk::SETTING_DOMAIN_NAME);
}

int printZone(TaskContext& context, const char* server) {
  return printValue(context, getJoinSetting(context, tolk::SETTING_ZONE_REALNAME, kUnavailable,
                                            nullptr, server, true));
}

int printZoneDn(TaskContext& context) {
  return printSetting(context, tolk::SETTING_ZONE_REALNAME);
}

int printSite(TaskContext& context) {
  return printSetting(context, tolk::SETTING_MACHINE_SITE);
}

int printServer(TaskContext& context) {
  return printValue(context, currentDC(context));
}

int printName(TaskContext& context) {
  return printSetting(context, tolk::SETTING_HOST_NAME);
}

int printGlobalCatalog(TaskContext& context) {
  const std::string catalog =
      getJoinSetting(context, tolk::SETTING_GLOBAL_CATALOG, kUnavailable, nullptr, nullptr, false);
  if (context.joined && catalog == kUnavailable) {
    std::cerr << "Not connected to any GC.\n";
    return exit_status::kMiscError;
  }
  return printValue(context, catalog);
}

int printMode(TaskContext& context) {
  if (!context.joined) return exit_status::kNotJoined;
  const AgentState state = agentState();
  std::cout << agentStateName(state) << '\n' << std::flush;
  return static_cast<int>(state);
}

}  // namespace joinscope
