// The daemon has connected, the settings hold what it was told then.
#include "cli/status/cloud_route.h"

#include <exception>
#include <string_view>
#include <vector>

#include "cloud/http/http_proxy.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/rpc/local_rpc_session.h"

namespace joinscope {
namespace {

using State = CloudRoute::State;

// Fields of a line of the stored connectors.
constexpr std::size_t kPlatformField = 0;
constexpr std::size_t kHostField = 2;
constexpr std::size_t kPortField = 4;
constexpr std::size_t kLeastFields = 7;

// The texts of the report are fixed and give no reason.
CloudRoute without(std::string_view reason, State state = State::none) {
  tolk::noteTrouble("cli.joinscope", tolk::printable(reason));
  return {.state = state, .text = {}};
}

CloudRoute askDaemon() {
  tolk::LocalRpcSession session;
  session.authenticateProcess();
  std::string text;
  switch (session.getORBInfo(text)) {
    case 0:
      return without("velkd: No cloud platform is configured.");
    case 1:
      return {.state = State::connected, .text = text};
    case 2:
      return {.state = State::throughProxy, .text = text};
    case 3:
      return {.state = State::notConnected, .text = text};
    default:
      return {.state = State::invalid, .text = {}};
  }
}

CloudRoute readSettings() {
  const std::string connectors = tolk::loadSetting(tolk::SETTING_CLOUD_CONNECTORS);
  const std::size_t start = connectors.find_first_not_of('\n');
  if (start == std::string::npos) {
    return without("No cloud connector is recorded (kset.cloudconnectors).");
  }
  const std::string line = connectors.substr(start, connectors.find('\n', start) - start);
  const std::vector<std::string> fields = tolk::split(line, '|');
  if (fields.size() < kLeastFields || fields[kPlatformField].empty()) {
    return without("The recorded cloud connectors (kset.cloudconnectors) are not in their format.",
                   State::damaged);
  }
  const std::string platform = fields[kPlatformField] + ",";
  if (tolk::Props().getBool(tolk::PN::CLOUD_DIRECT_CONNECTION)) {
    return {.state = State::stored, .text = platform};
  }
  tolk::UpdateCloudHttpProxy();
  const tolk::HttpProxy proxy = tolk::getProxySettings();
  if (!proxy.usable) return without("The settings of the web proxy cannot work; the log says why.");
  const std::string connector = fields[kHostField] + ":" + fields[kPortField];
  return {.state = State::stored,
          .text = platform + (proxy.server.empty() ? connector : proxy.server)};
}

CloudRoute orNone(CloudRoute (*ask)()) {
  try {
    return ask();
  } catch (const std::exception& e) {
    return without(e.what());
  }
}

}  // namespace

CloudRoute askForRoute() {
  return orNone(askDaemon);
}

CloudRoute recordedRoute() {
  return orNone(readSettings);
}

}  // namespace joinscope
