// The state of the connectors as text for people.
#include "cloud/connectors/connector_dump.h"

#include <sstream>

#include "tolk/base/text.h"

namespace tolk {
namespace {

void line(std::ostream& out, const char* label, const std::string& value) {
  out << label << printable(value) << '\n';
}

std::string joined(const TextSet& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
  return all;
}

void writeSection(std::ostream& out, const char* title,
                  const std::vector<CloudConnector>& connectors) {
  out << title;
  for (const CloudConnector& connector : connectors) {
    line(out, "      Pellion Connector: ", connector.name);
    line(out, "        Pellion Identity Platform URL: ", connector.url);
    line(out, "        Connector Site: ", connector.site);
    line(out, "        Connector FQDN: ", connector.fqdn);
    line(out, "        Pellion Identity Platform Instance ID: ", connector.tenantId);
    line(out, "        Connector port: ", connector.port);
    line(out, "        Connector IWA HTTP port: ", connector.iwaHttpPort);
    line(out, "        Connector IWA HTTPS port: ", connector.iwaHttpsPort);
  }
}

}  // namespace

std::string connectorDump(const ConnectorDumpFacts& facts) {
  std::ostringstream out;
  out << "==============Pellion Identity Platform Instances/Pellion Connectors info============\n"
      << "Pellion Identity Platform Instances:\n";
  line(out, "   Pellion Identity Platform Instance connected: ", facts.connectedUrl);
  line(out, "   Pellion Identity Platform Instance URL in zone: ", facts.zoneUrl);
  line(out, "   Pellion Identity Platform Instance ID in zone: ", facts.zoneTenantId);
  line(out, "   Pellion Identity Platform Instances URLs: ", joined(facts.urls));
  line(out, "   Pellion Identity Platform Instances IDs: ", joined(facts.tenantIds));
  out << "Proxy to Pellion Identity Platform:\n";
  const auto orNone = [](const std::string& text) { return text.empty() ? "None" : text; };
  line(out, "   Proxy server: ", orNone(facts.proxyServer));
  line(out, "   Proxy authentication method: ", orNone(facts.proxyAuthType));
  out << "Pellion Connectors:\n";
  line(out, "   Current used connector: ", facts.current);
  writeSection(out, "   Pellion Connectors in current site:\n", facts.currentSite);
  writeSection(out, "   Pellion Connectors in other site:\n", facts.otherSites);
  writeSection(out, "   Pellion Connectors discarded:\n", facts.discarded);
  writeSection(out, "   Pellion Connectors invalid:\n", facts.invalid);
  return std::move(out).str();
}

}  // namespace tolk
