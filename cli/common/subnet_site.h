// The site that this host is in by the subnet of its address (MS-ADTS 6.1.1.2.2).
#pragma once

#include <iosfwd>
#include <string>

namespace joinscope {

/// The site of this host as `server` places it, or with an empty `server` as discovery in `domain`
/// finds it. "" when it has none or the lookup fails; nothing is thrown. Asks the controller anew.
/// `verbose`, which may be null, is told what is asked (`currentSite` too) and why it failed.
std::string lookupSubnetSite(const std::string& domain, const std::string& currentSite,
                             const std::string& server, std::ostream* verbose);

}  // namespace joinscope
