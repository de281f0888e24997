// The configuration files that the Kerberos library reads.
#pragma once

#include <string>
#include <vector>

namespace tolk {

/// The files that the library reads: the ones of KRB5_CONFIG, else /etc/krb5.conf.
std::vector<std::string> configFiles();

/// The first malformed file among `files` and what they include (krb5.conf(5)). Each is judged by
/// its own lines. "" when none is found.
std::string malformedConfigFile(const std::vector<std::string>& files = configFiles());

}  // namespace tolk
