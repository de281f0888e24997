// Whether the keytab still holds the key that the directory has for the computer account. A ticket
// that was got before hides for hours that it does not.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "tolk/krb5/keytab.h"
#include "tolk/ldap/ad_object.h"

namespace velkd {

/// What the directory tells of the account and its key; "" and 0 where it does not.
struct AccountKey {
  std::string account;          ///< sAMAccountName
  unsigned version = 0;         ///< msDS-KeyVersionNumber (MS-ADTS 3.1.1.4.5.16)
  std::time_t passwordSet = 0;  ///< pwdLastSet (MS-ADTS 2.2.26)
};

[[nodiscard]] AccountKey accountKeyOf(const tolk::ADObject& computer);

/// What is wrong with the keys that the keytab at `path` holds of `principal`, and the remedy; ""
/// when nothing is. A keytab may be ahead of the directory: another controller may have the new
/// password first. Pure.
[[nodiscard]] std::string keyProblem(const AccountKey& key,
                                     const std::vector<tolk::KeytabAccount>& accounts,
                                     const std::string& principal, const std::string& path);

/// The same for this host's keytab as it is now; a keytab that cannot be read is a problem, too.
[[nodiscard]] std::string keytabProblem(const AccountKey& key, const std::string& principal);

}  // namespace velkd
