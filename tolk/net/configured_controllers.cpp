// orvald.conf has a property a domain and service; the join settings have one controller and one
// global catalog.
#include "tolk/net/configured_controllers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/properties.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"

namespace tolk {
namespace {

// Which property names the servers behind a service, and their port where an entry has none.
struct ConfiguredService {
  std::string_view prefix;
  std::string_view key;
  std::int32_t port;
};
constexpr std::array kConfiguredServices{
    // a longer prefix before the one it starts with
    ConfiguredService{"_ldap._tcp.dc._msdcs.", "dns.dc.", 389},
    ConfiguredService{"_ldap._tcp.gc._msdcs.", "dns.gc.", 3268},
    ConfiguredService{"_ldap._tcp.", "dns.dc.", 389},
    ConfiguredService{"_gc._tcp.", "dns.gc.", 3268},
};

HostPort readConfigured(std::string_view word, std::int32_t defaultPort) {
  HostPort entry{.host = {}, .text = {}, .port = defaultPort};
  const std::size_t colon = word.rfind(':');
  if (colon != std::string_view::npos) {
    std::uint16_t port = 0;
    const std::string_view digits = word.substr(colon + 1);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (error == std::errc() && end == digits.data() + digits.size() && port != 0) {
      entry.port = port;
    }
  }
  entry.host = toLower(word.substr(0, colon));
  if (entry.host.ends_with('.')) entry.host.pop_back();
  return entry;
}

}  // namespace

HostPortList configuredControllers(const std::string& srvName) {
  const std::string name = toLower(srvName);
  for (const ConfiguredService& service : kConfiguredServices) {
    if (!name.starts_with(service.prefix)) continue;
    std::string domain = name.substr(service.prefix.size());
    if (domain.ends_with('.')) domain.pop_back();
    std::string value = Props().getProperty(std::string(service.key) + domain, "");
    HostPortList list;
    constexpr std::string_view kSeparators = " \t,";
    for (std::size_t at = 0; (at = value.find_first_not_of(kSeparators, at)) != value.npos;) {
      const std::size_t end = std::min(value.find_first_of(kSeparators, at), value.size());
      HostPort entry = readConfigured(std::string_view(value).substr(at, end - at), service.port);
      if (!entry.host.empty()) list.push_back(std::move(entry));
      at = end;
    }
    return list;
  }
  return {};
}

bool isJoinedDomain(const std::string& domain) {
  return equalsIgnoringCase(loadSetting(SETTING_DOMAIN_NAME), domain);
}

std::string recordedController(const std::string& domain, ServiceType::Enum type) {
  if (!isJoinedDomain(domain)) return {};
  const bool catalog = type == ServiceType::globalCatalog;
  return loadSetting(catalog ? SETTING_GLOBAL_CATALOG : SETTING_DOMAIN_CONTROLLER);
}

HostPortList recordedControllers(const std::string& srvName) {
  struct Service {
    std::string_view prefix;
    ServiceType::Enum type;
    std::int32_t port;
  };
  constexpr std::array kServices{
      Service{"_ldap._tcp.", ServiceType::domainController, 389},
      Service{"_gc._tcp.", ServiceType::globalCatalog, 3268},
  };
  for (const Service& service : kServices) {
    if (!srvName.starts_with(service.prefix)) continue;
    try {
      const std::string host =
          toLower(recordedController(srvName.substr(service.prefix.size()), service.type));
      if (!host.empty()) return {{.host = host, .text = {}, .port = service.port}};
    } catch (const Base_Exception& failure) {
      noteTrouble("base.net.discovery", failure.what());
    }
  }
  return {};
}

}  // namespace tolk
