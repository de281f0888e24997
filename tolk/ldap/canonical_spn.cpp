// The name under which the directory knows a service.
#include "tolk/ldap/canonical_spn.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/net/host_query.h"
#include "tolk/net/limits.h"

namespace tolk {
namespace {

struct ServiceName {
  std::string service, host;
};

ServiceName partsOf(const std::string& spn) {
  const std::size_t slash = spn.find('/');
  if (slash == std::string::npos) return {spn, {}};
  return {spn.substr(0, slash), toLower(spn.substr(slash + 1))};
}

std::string nameOf(std::string service, const std::string& host) {
  return service.append("/").append(host);
}

/// The host as given, then what DNS calls it.
std::vector<std::string> namesOf(const std::string& host) {
  std::vector<std::string> names{host};
  EventLoop loop;
  const HostAnswer answer =
      startHostQuery(loop, host, configuredLimit(PN::VELKD_DNS_RESPONSE_MAXTIME)).wait();
  const std::string canonical = toLower(answer.canonicalName);
  if (answer.error == 0 && canonical != host) names.push_back(canonical);
  return names;
}

bool has(const ADObject& account, const std::string& name) {
  const std::vector<std::string> spns = account.getStrings(AD_SERVER_PRINCIPAL_NAME);
  return std::ranges::any_of(spns,
                             [&](const std::string& spn) { return equalsIgnoringCase(spn, name); });
}

std::string filterFor(const std::string& service, const std::vector<std::string>& hosts) {
  std::string filter = "(|";
  for (const std::string& host : hosts) {
    for (const std::string& kind : {service, std::string("HOST")}) {
      filter.append("(").append(AD_SERVER_PRINCIPAL_NAME).append("=");
      filter.append(DN::escapeLDAPFilter(nameOf(kind, host))).append(")");
    }
  }
  return filter + ")";
}

using DomainBind = std::unique_ptr<LDAPBinding, FreeDomainBind>;

DomainBind bindTo(const std::string& domain, LDAPBinding& from, CreateDomainBind create) {
  LDAPBinding* binding = &from;
  FreeDomainBind release = nullptr;
  create(domain, binding, release);
  return {binding, release};
}

}  // namespace

std::string CanonicalSpn(const std::string& spn, const std::string& domain, LDAPBinding& binding,
                         CreateDomainBind create) {
  const auto [service, host] = partsOf(spn);
  if (host.empty()) return {};
  const std::vector<std::string> hosts = namesOf(host);
  const DomainBind directory = bindTo(domain, binding, create);
  const auto* authenticated = dynamic_cast<const ADBinding*>(directory.get());
  const std::string base =
      authenticated != nullptr ? authenticated->wholeTree() : LDAPBinding::DNSNameToDN(domain);
  const char* const attributes[] = {AD_SERVER_PRINCIPAL_NAME, nullptr};
  const auto accounts = directory->search(filterFor(service, hosts), base, attributes,
                                          SearchScope::subtree, 0, 0, SearchFlags::none);
  for (const std::string& name : hosts) {
    // The service's own account comes before the computer that stands for all of its services.
    for (const std::string& kind : {service, std::string("HOST")}) {
      const auto account = std::ranges::find_if(
          *accounts, [&](const ADObject& one) { return has(one, nameOf(kind, name)); });
      if (account == accounts->end()) continue;
      return nameOf(service, name).append("@").append(toUpper(DN::domainFromDN(account->dn())));
    }
  }
  return {};
}

}  // namespace tolk
