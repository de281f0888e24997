// Which connectors of this host's site are in its own subnet.
#pragma once

#include <netinet/in.h>

#include <map>
#include <string>
#include <vector>

#include "cloud/connectors/cloud_connector.h"
#include "cloud/connectors/connector_try_lists.h"
#include "tolk/net/interfaces.h"

namespace tolk {

/// What the lookups of host names gave, by connector key.
using ConnectorAddresses = std::map<std::string, std::vector<in_addr>>;

/// Looks up the host names of the connectors with these keys, side by side. A connector without an
/// answer is left out, with a record that says why. Each lookup ends within
/// velkd.dns.response.maxtime; when DNS is silent on a whole batch of them the rest is not asked.
[[nodiscard]] ConnectorAddresses resolveConnectors(const std::vector<std::string>& keys,
                                                   const std::vector<CloudConnector>& connectors);

/// Moves the connectors of the list ConnectorList::site to the lists of their subnets, under the
/// mask of this host's address `own`. Those whose address is not known stay. No network.
void insertIntoTryListBySubnets(ConnectorTryLists& lists, const ConnectorAddresses& addresses,
                                const InterfaceDescription& own);

}  // namespace tolk
