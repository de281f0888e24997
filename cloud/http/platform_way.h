// The way to the platform: which address, through which proxy, and where the site check is made.
#pragma once

#include <string>
#include <string_view>

#include "cloud/http/cloud_log.h"
#include "cloud/http/connector_access.h"
#include "cloud/http/curl_object.h"
#include "cloud/http/http_proxy.h"

namespace tolk {

/// Chosen once for an authentication or a pass of events and kept to its end. So a failure is told
/// of the connector that was used, whichever is current by then, and of none where it is the
/// configured proxy or site check that fails.
struct PlatformWay {
  std::string platform;        ///< ends with "/"; "" when no platform is known
  HttpProxy proxy = {};        ///< without a server there is none
  IwaAddress siteCheck = {};   ///< empty when it is not needed, or there is none
  std::string connector = {};  ///< "host:port" of the connector that is the proxy; "" when none is
  bool direct = false;         ///< the configuration wants no proxy
  bool connectorFailed = false;  ///< a connector of this way has: another way may do

  /// The way that the configuration and the connectors say now.
  [[nodiscard]] static PlatformWay choose(bool needsSiteCheck);
  /// Whether there is one: a proxy, or none is wanted.
  [[nodiscard]] bool exists() const { return direct || !proxy.server.empty(); }

  /// Readies a new transfer for requests to the platform: headers, certificate and proxy. Asks the
  /// directory and the KDC for a proxy that wants Kerberos. Throws CurlException.
  void prepare(CurlObject& transfer, const CloudLog& log) const;
  /// One request to the platform. Throws as CurlObject::makeRequest; a proxy that is not there is
  /// told to the connectors if it is one of them.
  void request(CurlObject& transfer, const std::string& url, std::string_view body, bool isPost);
  /// Tells the connectors that the site check's web server cannot do its work.
  void siteCheckFailed();

 private:
  void leave(const std::string& address);
};

/// Adds the headers by which the platform knows the agent.
void addPlatformHeaders(CurlObject& transfer);

/// Gives the transfer that web proxy, with a record; for a proxy without a server, none.
void applyProxy(CurlObject& transfer, const HttpProxy& proxy, const CloudLog& log);

}  // namespace tolk
