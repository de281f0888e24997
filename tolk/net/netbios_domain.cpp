// The controllers' netlogon answers name both forms.
#include "tolk/net/netbios_domain.h"

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"
#include "tolk/net/network_state.h"

namespace tolk {

std::string netbiosNameOf(const std::string& domain) {
  try {
    const std::string server =
        NetworkState::getDCForDomain(domain, ServiceType::domainController, false, "", false);
    return server.empty() ? server : NetworkState::getDCInfo(server, false)->netbiosDomain;
  } catch (const TOLKException& failure) {
    Logger::GetThreadPrivateLogger("base.net.discovery")
        .log(LogLevel::debug, "no NetBIOS name of " + domain + ": " + failure.what());
    return {};
  }
}

std::string dnsNameOfDomain(const std::string& name) {
  if (name.find('.') != std::string::npos) return name;
  const std::string joined = loadSetting(SETTING_DOMAIN_NAME);
  if (joined.empty()) return name;
  const std::string own = netbiosNameOf(joined);
  return own.empty() || equalsIgnoringCase(own, name) ? joined : name;
}

}  // namespace tolk
