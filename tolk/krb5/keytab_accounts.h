// The computer accounts whose keys are in a keytab.
#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace tolk {

class KerberosContext;

/// A principal of one component that ends in "$" (MS-ADTS 3.1.1.4.5: sAMAccountName of a computer).
struct KeytabAccount {
  std::string name;         ///< without the "$", as written in the keytab
  std::string realm;        ///< as written in the keytab
  unsigned keyVersion = 0;  ///< the highest
  std::time_t newest = 0;   ///< when its newest key was written

  /// "NAME$@REALM", with the escapes of the Kerberos library.
  std::string principal;
};

/// The accounts in the keytab at `path`, each once, in the order of the file. Throws
/// KerberosException, with code ENOENT or KRB5_KT_NOTFOUND when there is no such file.
std::vector<KeytabAccount> machineAccountsInKeytab(KerberosContext& kerberos,
                                                   const std::string& path);

}  // namespace tolk
