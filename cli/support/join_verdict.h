// What joincheck finds, for the support bundle.
#pragma once

#include <string>

namespace joinscope {

/// Has the joincheck that lies beside this program write the facts to joincheck.json in `folder`,
/// and what it says to joincheck.txt. Waits 20 s for it; what keeps it from an end is said in the
/// latter.
void collectJoinVerdict(const std::string& folder);

}  // namespace joinscope
