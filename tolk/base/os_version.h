// Name and version of the operating system, os-release(5).
#pragma once

#include <string>

namespace tolk {

/// From /etc/os-release, else /usr/lib/os-release, else uname(2). Never empty, never throws for a missing file.
void OSVersion(std::string& name, std::string& version);

}  // namespace tolk
