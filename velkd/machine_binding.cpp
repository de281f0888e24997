// A directory binding with the machine keytab.
#include "velkd/machine_binding.h"

#include <algorithm>

#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/net/network_state.h"

namespace velkd {
namespace {

constexpr int kTicketLifetimeSeconds = 24 * 60 * 60;
constexpr int kNoSuchObject = 32;  // RFC 4511, 4.1.9

// Searched anew each time: what was found before is what has just failed, or is hours old.
std::string controllerOf(const MachineIdentity& identity) {
  if (!identity.server.empty()) return identity.server;
  return tolk::NetworkState::getDCForDomain(identity.domain, tolk::ServiceType::domainController,
                                            false, std::string(), true);
}

int readLimitSeconds() {
  constexpr int kMillisecondsPerSecond = 1000;
  const int limit = tolk::Props().getLimitMs(tolk::PN::VELKD_DIRECTORY_TIMEOUT);
  return std::max(1, limit / kMillisecondsPerSecond);
}

}  // namespace

bool meansLost(const tolk::LDAPException& failure) noexcept {
  constexpr int kBusy = 51;
  constexpr int kUnavailable = 52;
  return failure.code() < 0 || failure.code() == kBusy || failure.code() == kUnavailable;
}

bool meansSilent(const tolk::LDAPException& failure) noexcept {
  constexpr int kTimeout = -5;
  return failure.code() == kTimeout;
}

MachineBinding::MachineBinding(const MachineIdentity& identity)
    : host_(controllerOf(identity)),
      ticket_(kerberos_, identity.principal, kTicketLifetimeSeconds),
      binding_(identity.domain, ticket_.cacheName(), &kerberos_, true, identity.server,
               std::string(), false, false) {
  binding_.connect();
  // Another than the first choice where that has failed.
  host_ = binding_.serverName().substr(0, binding_.serverName().rfind(':'));
}

MachineBinding::Read MachineBinding::read(tolk::LDAPBinding& binding, const std::string& dn,
                                          const std::vector<std::string>& attributes) {
  std::vector<const char*> names;
  names.reserve(attributes.size() + 1);
  for (const std::string& name : attributes) names.push_back(name.c_str());
  names.push_back(nullptr);
  try {
    const auto found =
        binding.search(tolk::AD_ALL_OBJECTS, dn, attributes.empty() ? nullptr : names.data(),
                       tolk::SearchScope::base, readLimitSeconds(), 0, tolk::SearchFlags::none);
    if (found->empty()) return {};
    return {.found = true, .object = found->front()};
  } catch (const tolk::LDAPException& e) {
    if (e.code() != kNoSuchObject) throw;
    return {};
  }
}

std::unique_ptr<tolk::ADBinding> MachineBinding::bindTo(const std::string& domain,
                                                        const std::string& server) {
  auto binding = std::make_unique<tolk::ADBinding>(domain, ticket_.cacheName(), &kerberos_, true,
                                                   server, std::string(), false, false);
  if (!server.empty()) binding->allowAlias();  // root's own choice
  binding->connect();
  return binding;
}

}  // namespace velkd
