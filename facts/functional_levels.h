// Functional levels of domains, forests and controllers (MS-ADTS 6.1.4) as a root DSE states them,
// and the mode of a domain of level 0.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "tolk/ldap/ad_object.h"

namespace joinscope {

/// Attributes of a root DSE.
inline constexpr const char* kDomainLevel = "domainFunctionality";
inline constexpr const char* kForestLevel = "forestFunctionality";
inline constexpr const char* kControllerLevel = "domainControllerFunctionality";

/// A level, 0 when it is missing; empty when it is no number.
std::optional<int> levelOf(const tolk::ADObject& rootDse, const char* name);

/// A root DSE without any level is that of a Windows 2000 controller.
bool isWindows2000(const tolk::ADObject& rootDse);

/// Gives such a root DSE all three levels as 0.
void fillInLevels(tolk::ADObject& rootDse);

/// Whether the domain is in mixed mode, as its object tells an anonymous reader at the controller
/// `server`, which Windows 2000 allows. `connected` is called between connection and read. Throws
/// LDAPException.
bool readMixedMode(const tolk::ADObject& rootDse, const std::string& server,
                   const std::function<void()>& connected);

/// Writes the outcome of asking for the mode into the root DSE, which does not tell native from
/// mixed mode by itself: -1 for mixed mode; without an outcome the domain's level goes away.
void applyMixedMode(tolk::ADObject& rootDse, std::optional<bool> mixed);

}  // namespace joinscope
