// One search for a domain controller: DNS records, host lookups and netlogon pings of all
// candidates on one event loop (MS-ADTS 6.3.6).
#pragma once

#include <string>

#include "tolk/net/network_state.h"

namespace tolk {

/// What is searched for.
struct DiscoveryRequest {
  std::string domain;
  ServiceType::Enum type = ServiceType::domainController;
  bool writable = false;
  std::string site;  ///< only its controllers count as near; empty: the host's own site as the
                     ///< controllers tell it
  std::string preferredSite;  ///< whose controllers are asked first, where `site` is empty
};

/// Whether a controller with these NetlogonFlag bits serves the request.
bool hasRoles(const DiscoveryRequest& request, std::uint32_t roles) noexcept;

/// The first good controller. Throws TOLKException naming domain and reason.
DCInfo discoverController(const DiscoveryRequest& request);

/// What the controller at `server` says, by one ping. Throws TOLKException.
DCInfo askController(const std::string& server);

}  // namespace tolk
