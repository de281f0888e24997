// Where this host keeps its Kerberos configuration and its keys.
#pragma once

#include <string>

namespace tolk {

/// The property PN::KRB5_CONFFILE_NAME, "/etc/krb5.conf" when it is absent.
std::string krb5ConfPath();

/// The property PN::KRB5_KEYTAB_NAME, "/etc/krb5.keytab" when it is absent.
std::string keytabPath();

}  // namespace tolk
