// One search for a domain controller: DNS records, host lookups and netlogon questions to all
// candidates on one event loop (MS-ADTS 6.3.6).
#pragma once

#include <set>
#include <string>
#include <vector>

#include "tolk/net/dc_info.h"

namespace tolk {

/// What is searched for.
struct DiscoveryRequest {
  std::string domain;
  ServiceType::Enum type = ServiceType::domainController;
  bool writable = false;
  std::string site;  ///< only its controllers count as near; empty: the host's own site as the
                     ///< controllers tell it
  std::string preferredSite;           ///< whose controllers are asked first, where `site` is empty
  std::set<std::string> failedBefore;  ///< hosts that are taken only where no other answers
};

/// A controller that answers, but is of no use.
struct UselessController {
  std::string host;
  std::string reason;  ///< with address, port and limit
};

/// What a search came to.
struct Discovered {
  DCInfo info;
  std::vector<UselessController> useless;  ///< `info` may be one of them
};

/// Whether a controller with these NetlogonFlag bits serves the request.
bool hasRoles(const DiscoveryRequest& request, std::uint32_t roles) noexcept;

/// The best controller. Throws TOLKException naming domain and reason.
Discovered discoverController(const DiscoveryRequest& request);

/// What the controller at `server` says, asked by UDP and by TCP. Throws TOLKException.
DCInfo askController(const std::string& server);

}  // namespace tolk
