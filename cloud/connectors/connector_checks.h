// Which connectors may be used: those of the zone's platform instance, with a web proxy that is on.
#pragma once

#include <string>
#include <vector>

#include "cloud/connectors/cloud_connector.h"
#include "tolk/ldap/ad_object.h"

namespace tolk {

/// Whether the site check is made through connectors: the configured REST interface signs the
/// machine on with it, or privilege events are posted, and no other address for it is configured.
[[nodiscard]] bool iwaRequired();

/// The platform of the zone that `zone` is; the no-object value and a zone before version 6 stand
/// for what orvald.conf(5) gives.
[[nodiscard]] ZonePlatform readZonePlatform(const ADObject& zone);

/// A platform address as those who add paths to it want it: ending with "/"; "" stays.
[[nodiscard]] std::string withFinalSlash(std::string url);

/// Whether the connector has a host name and serves the platform address; says in a record when
/// not.
bool connectorSanityCheck(const CloudConnector& connector, const ZonePlatform& platform);

/// Which keywords of a connector are wrong, as the end of a sentence: "the value of keywords '...'
/// are missing", or are incorrect; "" when none is. Those that are missing come first.
[[nodiscard]] std::string invalidReason(const CloudConnector& connector,
                                        const ZonePlatform& platform);

/// Whether the connector's services are on that are needed.
[[nodiscard]] bool isAvailableConnector(const CloudConnector& connector, bool needsIwa);

/// Says in a record why the connector is not available.
void logUnavailableConnector(const CloudConnector& connector, bool needsIwa);

/// Sorts connector objects, given with the objects of their hosts in the same order, into valid and
/// invalid connectors; one that is not trusted (connector_trust.h) is invalid, whatever it says.
/// `reported` holds the texts of earlier reports: each is made once.
[[nodiscard]] FoundConnectors processList(std::vector<ADObject>& connectors,
                                          const std::vector<ADObject>& hosts,
                                          const ZonePlatform& platform, TextSet& reported);

}  // namespace tolk
