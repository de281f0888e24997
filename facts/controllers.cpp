// Discovery finds them; the agent says which one it has taken.
#include "facts/controllers.h"

#include <exception>

#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/network_state.h"
#include "tolk/rpc/local_rpc_session.h"

namespace joinscope {
namespace {

constexpr auto kController = tolk::ServiceType::domainController;

// What a report shows as not available has no other place for its reason.
void note(const std::exception& reason) {
  tolk::noteTrouble("cli.joinscope", tolk::printable(reason.what()));
}

std::string recordedController(const std::string& domain) {
  try {
    return tolk::NetworkState::getDCFromKset(domain, kController, false, true);
  } catch (const std::exception& e) {
    note(e);
    return {};
  }
}

}  // namespace

std::string controllerOf(const std::string& domain) {
  return tolk::NetworkState::getDCForDomain(domain, kController, false, "", false);
}

std::string answeringController(const std::string& domain) {
  std::string controller = tolk::NetworkState::getDCForDomain(domain, kController, false, "", true);
  if (!controller.empty()) (void)tolk::NetworkState::getDCInfo(controller, true);
  return controller;
}

void passOverController(const std::string& controller, const std::string& reason) {
  tolk::NetworkState::passOver(controller, kController, reason);
}

std::string controllerInUse(const std::string& domain) {
  try {
    return tolk::LocalRpcSession().getCurrentDC();
  } catch (const std::exception& e) {
    note(e);
    return recordedController(domain);
  }
}

}  // namespace joinscope
