// Which domain controller this host works with.
#pragma once

#include <string>

namespace joinscope {

/// The controller of `domain` that this host would take, "" for an empty domain. Throws
/// TOLKException when none is found.
std::string controllerOf(const std::string& domain);

/// The same looked for anew; it has answered. Throws TOLKException when it does not.
std::string answeringController(const std::string& domain);

/// Has later searches prefer others.
void passOverController(const std::string& controller, const std::string& reason);

/// The one that the agent uses: what the daemon says, else what the settings of the join to
/// `domain` record. Empty when neither knows one; why is a trouble (tolk/base/troubles.h).
std::string controllerInUse(const std::string& domain);

}  // namespace joinscope
