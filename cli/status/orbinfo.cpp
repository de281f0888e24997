// The daemon knows better than the settings, which are read only while it is down.
#include "cli/status/orbinfo.h"

#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "cli/common/exit_status.h"
#include "cli/common/task_context.h"
#include "cloud/http/http_proxy.h"
#include "facts/agent_state.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/local_rpc_session.h"

namespace joinscope {
namespace {

// Fields of a line of the stored connectors.
constexpr std::size_t kPlatformField = 0;
constexpr std::size_t kHostField = 2;
constexpr std::size_t kPortField = 4;
constexpr std::size_t kLeastFields = 7;

// The texts are fixed and give no reason.
void note(const char* reason) {
  tolk::noteTrouble("cli.joinscope", tolk::printable(reason));
}

int fail(const char* text) {
  std::cerr << text << '\n';
  return exit_status::kOrbUnknown;
}

int answer(const std::string& text, int status) {
  std::cout << tolk::printable(text) << '\n' << std::flush;
  return status;
}

int askDaemon() {
  try {
    tolk::LocalRpcSession session;
    session.authenticateProcess();
    std::string text;
    switch (session.getORBInfo(text)) {
      case 0:
        note("velkd: No cloud platform is configured.");
        return fail("Failed to get ORB info from velkd.");
      case 1:
        return answer(text, exit_status::kOrbConnected);
      case 2:
        return answer(text, exit_status::kOrbThroughProxy);
      case 3:
        return answer(text, exit_status::kOrbNotConnected);
      default:
        return fail("Get invalid ORB info from velkd.");
    }
  } catch (const std::exception& e) {
    note(e.what());
    return fail("Failed to get ORB info from velkd.");
  }
}

int readSettings() {
  const std::string connectors = tolk::loadSetting(tolk::SETTING_CLOUD_CONNECTORS);
  const std::size_t start = connectors.find_first_not_of('\n');
  if (start == std::string::npos) {
    note("No cloud connector is recorded (kset.cloudconnectors).");
    return fail("Failed to get ORB info.");
  }
  const std::string line = connectors.substr(start, connectors.find('\n', start) - start);
  const std::vector<std::string> fields = tolk::split(line, '|');
  if (fields.size() < kLeastFields || fields[kPlatformField].empty()) {
    note("The recorded cloud connectors (kset.cloudconnectors) are not in their format.");
    return exit_status::kOrbUnknown;
  }
  const std::string platform = fields[kPlatformField] + ",";
  if (tolk::Props().getBool(tolk::PN::CLOUD_DIRECT_CONNECTION)) {
    return answer(platform, exit_status::kOrbStored);
  }
  tolk::UpdateCloudHttpProxy();
  const tolk::HttpProxy proxy = tolk::getProxySettings();
  if (!proxy.usable) {
    note("The settings of the web proxy cannot work; the log says why.");
    return fail("Failed to get ORB info.");
  }
  const std::string connector = fields[kHostField] + ":" + fields[kPortField];
  return answer(platform + (proxy.server.empty() ? connector : proxy.server),
                exit_status::kOrbStored);
}

}  // namespace

int orbinfo(TaskContext& context) {
  if (::getuid() != 0) {
    std::cerr << "You must be root to run --orbinfo.\n";
    return exit_status::kNotRoot;
  }
  if (!context.joined) {
    std::cerr << "Not joined to any domain.\n";
    return exit_status::kNotJoined;
  }
  if (agentState() != AgentState::down) return askDaemon();
  try {
    return readSettings();
  } catch (const std::exception& e) {
    note(e.what());
    return fail("Failed to get ORB info.");
  }
}

}  // namespace joinscope
