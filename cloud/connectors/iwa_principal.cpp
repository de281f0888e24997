// The Kerberos name of a site check's web server.
#include "cloud/connectors/iwa_principal.h"

#include "cloud/connectors/cloud_connector.h"
#include "cloud/http/url_text.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"

namespace tolk {
namespace {

// The catalog knows the computers of the forest; while it is down, the controller those of its
// domain.
ADObjectList searchComputers(ADSession& session, const std::string& filter) {
  try {
    return session.search(ADSession::Server::globalCatalog, filter, {AD_DN_ONLY});
  } catch (const Base_Exception& e) {
    logConnector(LogLevel::debug, "%s", {e.what()});
  }
  return session.search(ADSession::Server::controller, filter, {AD_DN_ONLY});
}

}  // namespace

std::string iwaPrincipal(const std::string& host, const std::string& dn) {
  const std::string domain = DN::domainFromDN(dn);
  if (domain.empty()) throw SystemException("'" + printable(dn) + "' lies in no domain");
  return "HTTP/" + host + "@" + toUpper(domain);
}

std::string findIwaPrincipal(ADAgent* agent, const std::string& url) {
  const std::string host = hostOfUrl(url);
  if (host.empty()) {
    logConnector(LogLevel::error, "GetSPNFromIwaURL failed: retrieve empty FQDN from url = %s",
                 {url});
    return {};
  }
  if (agent == nullptr) {
    logConnector(LogLevel::error, "GetSPNFromIwaURL failed: can't retrieve adagent");
    return {};
  }
  const std::string filter = std::string("(objectCategory=computer)(") + AD_DNS_HOST_NAME + "=" +
                             DN::escapeLDAPFilter(host) + ")";
  logConnector(LogLevel::debug, "GetSPNFromIwaURL searches with filter '%s'", {filter});
  try {
    const auto session = agent->open();
    const ADObjectList computers = searchComputers(*session, "(&" + filter + ")");
    if (computers.empty()) {
      logConnector(LogLevel::error, "GetSPNFromIwaURL failed: can't find any computer objects");
      return {};
    }
    if (computers.size() > 1) {
      logConnector(LogLevel::warning,
                   "GetSPNFromIwaURL: more than 1 computer objects(%d) are found. Will use the "
                   "first one",
                   {std::to_string(computers.size())});
    }
    return iwaPrincipal(host, computers.front().dn());
  } catch (const Base_Exception& e) {
    logConnector(LogLevel::error, "GetSPNFromIwaURL failed: %s", {e.what()});
    return {};
  }
}

}  // namespace tolk
