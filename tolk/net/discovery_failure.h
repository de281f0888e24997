// Why a search gave no controller, in words.
#pragma once

#include <string>
#include <vector>

#include "tolk/net/controller_candidate.h"

namespace tolk {

/// Of a search for a controller of `domain` among `candidates`; `dnsFailure` where DNS gave none.
/// Names the limit only where that has ended the wait, which took `waited`: less where silences of
/// before were not waited out again.
std::string discoveryFailure(const std::string& domain, const std::string& dnsFailure,
                             const std::vector<ControllerCandidate>& candidates,
                             std::chrono::milliseconds waited);

/// Of the question to one server.
std::string askingFailure(const ControllerCandidate& candidate);

}  // namespace tolk
