// Which Kerberos files the agent uses.
#pragma once

#include <string>

namespace joinscope {

/// The property krb5.conffile.name, "/etc/krb5.conf" when it is absent.
std::string krb5ConfPath();

/// The property krb5.keytab.name, "/etc/krb5.keytab" when it is absent.
std::string keytabPath();

}  // namespace joinscope
