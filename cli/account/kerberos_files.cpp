#include "cli/account/kerberos_files.h"

#include "tolk/krb5/kerberos_paths.h"

namespace joinscope {

std::string krb5ConfPath() {
  return tolk::kerberosConfigPath();
}

std::string keytabPath() {
  return tolk::keytabPath();
}

}  // namespace joinscope
