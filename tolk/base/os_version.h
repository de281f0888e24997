// Name and version of the operating system, os-release(5).
#pragma once

#include <string>
#include <string_view>

namespace tolk {

/// From /etc/os-release, else /usr/lib/os-release, else uname(2): NAME, and VERSION, VERSION_ID or
/// the kernel's release. Never empty, never throws for a missing file.
void OSVersion(std::string& name, std::string& version);

/// The value of `variable` in the text of an os-release file, its shell quotes taken off; "" when
/// it is not assigned. The last assignment counts.
std::string osReleaseValue(std::string_view text, std::string_view variable);

}  // namespace tolk
