// The connectors as a join setting keeps them.
#include "cloud/connectors/connector_kset.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>

#include "cloud/connectors/cloud_connector.h"
#include "cloud/connectors/connector_attributes.h"
#include "tolk/base/text.h"
#include "tolk/ldap/dn.h"

namespace tolk {
namespace {

constexpr std::size_t kFields = 13;
// As much as a join setting is read back.
constexpr std::size_t kMaxTextBytes = (std::size_t{1} << 20U) - 1;

struct ListName {
  ConnectorList list;
  const char* name;
};
constexpr std::array<ListName, ConnectorTryLists::kTryListCount> kListNames{{
    {ConnectorList::sameSubnet, "subnet"},
    {ConnectorList::otherSubnet, "othersubnet"},
    {ConnectorList::site, "site"},
    {ConnectorList::otherSites, "othersite"},
}};

const char* nameOf(ConnectorList list) {
  for (const ListName& row : kListNames) {
    if (row.list == list) return row.name;
  }
  return "";
}

using Fields = std::array<std::string, kFields>;

std::string join(const Fields& fields) {
  std::string line;
  for (const std::string& field : fields) line += (&field == fields.data() ? "" : "|") + field;
  return line;
}

Fields fieldsOf(const StoredConnectors& stored, const StoredConnector& item) {
  const CloudConnector& connector = item.connector;
  const ConnectorAddress address = splitAddress(connector.address);
  return {stored.platformUrl,
          stored.tenantId,
          address.host,
          connector.site,
          address.port,
          nameOf(item.list),
          connector.fqdn,
          connector.iwaHost,
          connector.iwaHttpPort,
          connector.iwaHttpsPort,
          std::to_string(connector.services),
          connector.dn,
          stored.connectorPlace};
}

bool canHold(const Fields& fields) {
  return std::all_of(fields.begin(), fields.end(), [](const std::string& field) {
    return field.find_first_of("|\n\r") == std::string::npos;
  });
}

bool parseLine(const std::string& line, StoredConnectors& stored) {
  const std::vector<std::string> fields = split(line, '|');
  if (fields.size() != kFields || fields[0].empty()) return false;
  stored.platformUrl = fields[0];
  stored.tenantId = fields[1];
  stored.connectorPlace = fields[12];
  const auto* const list =
      std::find_if(kListNames.begin(), kListNames.end(),
                   [&fields](const ListName& row) { return fields[5] == row.name; });
  const std::string address = fields[2] + ":" + fields[4];
  if (list == kListNames.end() || fields[6].empty() || splitAddress(address).host.empty()) {
    return false;
  }
  CloudConnector connector{.dn = fields[11],
                           .name = {},
                           .fqdn = fields[6],
                           .address = address,
                           .port = fields[4],
                           .site = fields[3],
                           .url = fields[0],
                           .tenantId = fields[1],
                           .iwaHost = fields[7],
                           .iwaHttpPort = fields[8],
                           .iwaHttpsPort = fields[9]};
  connector.name = hostObjectName(connector.dn);
  (void)std::from_chars(fields[10].data(), fields[10].data() + fields[10].size(),
                        connector.services);
  stored.connectors.push_back({.connector = std::move(connector), .list = list->list});
  return true;
}

}  // namespace

void logUnwritable(const StoredConnector& item) {
  logConnector(LogLevel::error,
               item.list == ConnectorList::otherSites
                   ? "Can't write connector(%s) of other sites into kset file."
                   : "Can't write connector(%s) of current site into kset file.",
               {item.connector.key()});
}

std::string ksetText(const StoredConnectors& stored, bool withoutConnector) {
  std::string text;
  for (const StoredConnector& item : stored.connectors) {
    const Fields fields = fieldsOf(stored, item);
    const std::string line = join(fields) + "\n";
    if (!canHold(fields) || text.size() + line.size() > kMaxTextBytes) {
      logUnwritable(item);
    } else {
      text += line;
    }
  }
  const Fields platform{stored.platformUrl, stored.tenantId};
  if (text.empty() && withoutConnector && !stored.platformUrl.empty() && canHold(platform)) {
    text = join(platform) + "\n";
  }
  return text;
}

StoredConnectors parseKset(const std::string& text) {
  StoredConnectors stored;
  for (const std::string& line : split(text, '\n')) {
    if (!line.empty()) (void)parseLine(line, stored);
  }
  return stored;
}

}  // namespace tolk
