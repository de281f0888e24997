// Properties with their defaults from the one table.
#include "tolk/krb5/kerberos_paths.h"

#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {

std::string krb5ConfPath() {
  return Props().getProperty(PN::KRB5_CONFFILE_NAME);
}

std::string keytabPath() {
  return Props().getProperty(PN::KRB5_KEYTAB_NAME);
}

}  // namespace tolk
