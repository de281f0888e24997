// Functional levels of domains, forests and controllers (MS-ADTS 6.1.4): their names, and what the
// levels of a controller mean that does not state them.
#pragma once

#include <iosfwd>
#include <string>

#include "tolk/ldap/ad_object.h"

namespace joinscope {

struct TaskContext;

/// "7 = (DS_BEHAVIOR_WINSERVER_2016)", or the number alone for a level without a name. -1 stands
/// for level 0 in mixed mode.
std::string levelText(int level);

/// The named level attribute of a root DSE as levelText; empty when it is missing or no number, the
/// reason going to `verbose` (may be null).
std::string functionalLevelText(const tolk::ADObject& rootDse, const char* name,
                                std::ostream* verbose);

/// "Windows 2016" and the like from domainControllerFunctionality, which counts as 0 when it is
/// missing.
std::string controllerTypeText(const tolk::ADObject& rootDse);

/// Settles level 0 of the domain, which alone does not tell native from mixed mode:
/// domainFunctionality becomes -1 in mixed mode and goes away when the mode cannot be found out. A
/// root DSE without any level attribute is that of a Windows 2000 controller; it gets all three
/// levels as 0. Returns whether it is one. The mode comes from the controller itself, or from the
/// run's binding; why that failed goes to `verbose` (may be null).
bool normalizeFunctionalLevels(TaskContext& context, tolk::ADObject& rootDse,
                               std::ostream* verbose);

}  // namespace joinscope
