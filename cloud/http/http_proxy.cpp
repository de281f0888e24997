// The web proxy of the cloud transfers.
#include "cloud/http/http_proxy.h"

#include <arpa/inet.h>

#include <array>
#include <utility>

#include "cloud/http/cloud_log.h"
#include "cloud/http/connector_access.h"
#include "cloud/http/proxy_auth.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/fips.h"
#include "tolk/base/lock.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/protected_credential.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.orb.processor"};
constexpr const char* kDefaultPort = "8080";

Lock gAccess;              // guards the record
HttpProxy gProxyInConfig;  // the record

struct HostAndPort {
  std::string host, port;
};

HostAndPort configuredServer() {
  const std::string value = Props().getProperty(PN::CLOUD_PROXY_SERVER);
  const std::size_t colon = value.find(':');
  if (colon == std::string::npos) return {value, kDefaultPort};
  const std::string port = value.substr(colon + 1);
  return {value.substr(0, colon), port.empty() ? kDefaultPort : port};
}

bool isIpv4Address(const std::string& host) {
  in_addr address{};
  return ::inet_aton(host.c_str(), &address) != 0;
}

void loadCredential(HttpProxy& proxy) {
  try {
    ProtectedCredential credential(kProxyCredentialName);
    if (!credential.loadFromFile(true)) return;
    proxy.user = credential.user();
    if (proxy.user == kMachineUser) {
      kLog.debug("Force authtype to 'negotiate' when using machine credential.");
      proxy.authType = "negotiate";
    } else {
      proxy.password = credential.getSecret();
    }
  } catch (const Base_Exception& e) {
    proxy.usable = false;
    kLog.error("Failed to get proxy credential, %sUse of Http Proxy Server might fail!",
               {e.what()});
  }
}

void setAuthentication(HttpProxy& proxy, const std::string& host) {
  proxy.authType = toLower(trim(Props().getProperty(PN::CLOUD_PROXY_AUTH_TYPE)));
  // To a transfer none at all means a proxy that asks for no user.
  if (proxy.authType.empty()) proxy.authType = toLower(PN::CLOUD_PROXY_AUTH_TYPE.value);
  if (!proxyAuthMask(proxy.authType)) {
    kLog.error("Invalid proxy auth type: '%s'", {proxy.authType});
  }
  if (FIPSHelper::isStarted() && (proxy.authType == "ntlm" || proxy.authType == "digest")) {
    kLog.error("Auth Type '%s' is not allowed when FIPS mode is enabled.", {proxy.authType});
    proxy.usable = false;
  }
  loadCredential(proxy);
  // Kerberos names services by host name.
  if (isIpv4Address(host) && (proxy.authType == "negotiate" || proxy.authType == "anyauth")) {
    kLog.error(
        "FQDN hostname should be specified when using 'negotiate' or 'anyauth' in proxy "
        "authentication, authentication to proxy might fail.");
  }
}

}  // namespace

std::optional<long> proxyAuthMask(std::string_view type) noexcept {
  constexpr std::array<std::pair<std::string_view, long>, 5> kMasks{{
      {"negotiate", ProxyAuthMask::negotiate},
      {"ntlm", ProxyAuthMask::ntlm},
      {"digest", ProxyAuthMask::digest},
      {"basic", ProxyAuthMask::basic},
      {"anyauth", ProxyAuthMask::any},
  }};
  for (const auto& [word, mask] : kMasks) {
    if (word == type) return mask;
  }
  return std::nullopt;
}

bool sameProxy(const HttpProxy& one, const HttpProxy& other) {
  return one.server == other.server && one.authType == other.authType && one.user == other.user &&
         one.password.view() == other.password.view();
}

void UpdateCloudHttpProxy() {
  const std::lock_guard lock(gAccess);
  HttpProxy proxy;
  const auto [host, port] = configuredServer();
  if (!host.empty()) proxy.server = host + ":" + port;
  if (!proxy.server.empty() && Props().getBool(PN::CLOUD_PROXY_AUTH_REQUIRED)) {
    setAuthentication(proxy, host);
  }
  kLog.debug("The http proxy setting from config is proxy: '%s', auth: '%s'.",
             {proxy.server, proxy.authType});
  gProxyInConfig = std::move(proxy);
}

HttpProxy getProxySettings() {
  const std::lock_guard lock(gAccess);
  return gProxyInConfig;
}

bool usesCloudConnector() {
  if (Props().getBool(PN::CLOUD_DIRECT_CONNECTION)) return false;
  const HttpProxy proxy = getProxySettings();
  return proxy.usable && proxy.server.empty() && ConnectorAccess::current() != nullptr;
}

HttpProxy getCloudProxy() {
  if (Props().getBool(PN::CLOUD_DIRECT_CONNECTION)) return {};
  HttpProxy proxy = getProxySettings();
  if (!proxy.usable) return {};
  if (!usesCloudConnector()) return proxy;
  return {.server = ConnectorAccess::current()->getCloudConnector(),
          .authType = {},
          .user = {},
          .password = {},
          .usable = true};
}

}  // namespace tolk
