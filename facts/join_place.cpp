// Settings first; the controller takes the daemon, or what the last one recorded.
#include "facts/join_place.h"

#include <exception>

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/interfaces.h"
#include "tolk/net/network_state.h"
#include "tolk/rpc/local_rpc_session.h"

namespace joinscope {
namespace {

// What a report shows as not available has no other place for its reason.
void note(const std::exception& reason) {
  tolk::noteTrouble("cli.joinscope", tolk::printable(reason.what()));
}

std::string recordedController(const std::string& domain) {
  try {
    return tolk::NetworkState::getDCFromKset(domain, tolk::ServiceType::domainController, false,
                                             true);
  } catch (const std::exception& e) {
    note(e);
    return {};
  }
}

}  // namespace

std::optional<std::string> joinSetting(std::string_view key) {
  try {
    return tolk::loadSetting(key, false, true);
  } catch (const tolk::NotFoundException&) {
    return {};
  } catch (const std::exception& e) {
    note(e);
    return {};
  }
}

std::string controllerInUse(const std::string& domain) {
  try {
    return tolk::LocalRpcSession().getCurrentDC();
  } catch (const std::exception& e) {
    note(e);
    return recordedController(domain);
  }
}

JoinFacts readJoinFacts(const std::string& domain) {
  return {.localHostName = tolk::shortLocalHostName(),
          .domain = domain,
          .joinedAs = joinSetting(tolk::SETTING_HOST_NAME),
          .preWin2kName = joinSetting(tolk::SETTING_PREW2K_HOST_NAME)};
}

}  // namespace joinscope
