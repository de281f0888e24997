// The configuration files that the Kerberos library reads.
#pragma once

#include <string>

namespace tolk {

/// The first malformed file among those that the library reads: the ones of KRB5_CONFIG, else
/// /etc/krb5.conf, and what they include (krb5.conf(5)). Each is judged by its own lines. "" when
/// none is found.
std::string malformedConfigFile();

}  // namespace tolk
