// Whether the keytab still holds the key that the directory has for the computer account.
#include "velkd/key_check.h"

#include <algorithm>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/base/times.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/ldap/ad_names.h"

namespace velkd {
namespace {

// By which the clock that dates the keytab may be behind the controller's (RFC 4120, 1.6).
constexpr std::time_t kClockSkewSeconds = 300;

std::string since(std::time_t time) {
  return time == 0 ? "" : " since " + tolk::localTimeText(time);
}

}  // namespace

AccountKey accountKeyOf(const tolk::ADObject& computer) {
  AccountKey key{
      .account = computer.getString(tolk::AD_SAM_ACCOUNT_NAME, ""), .version = 0, .passwordSet = 0};
  if (computer.attributeExists(tolk::AD_KEY_VERSION_NUMBER, true)) {
    key.version = computer[tolk::AD_KEY_VERSION_NUMBER].toUInt();
  }
  if (computer.attributeExists(tolk::AD_PWCHG_LAST, true)) {
    const std::int64_t set = computer[tolk::AD_PWCHG_LAST].toInt64();
    if (set > 0) key.passwordSet = tolk::unixTimeOf(set);
  }
  return key;
}

std::string keyProblem(const AccountKey& key, const std::vector<tolk::KeytabAccount>& accounts,
                       const std::string& principal, const std::string& path) {
  if (!key.account.empty() &&
      !tolk::equalsIgnoringCase(key.account, principal.substr(0, principal.find('@')))) {
    return "The recorded security identifier (kset.hostsid) is that of " + key.account +
           ", and this host is joined as " + principal + ". Run velkd adopt.";
  }
  const auto own = std::find_if(accounts.begin(), accounts.end(), [&](const auto& account) {
    return tolk::equalsIgnoringCase(account.principal, principal);
  });
  const std::string remedy = " Restore the keytab or join this computer to the domain again.";
  if (own == accounts.end()) return path + " has no key of " + principal + "." + remedy;
  const std::string newest = path + " has no key of " + principal + " newer than version " +
                             std::to_string(own->keyVersion) +
                             (own->newest == 0 ? "" : " of " + tolk::localTimeText(own->newest));
  if (key.version > own->keyVersion) {
    return newest + ", and the account has version " + std::to_string(key.version) +
           since(key.passwordSet) + "." + remedy;
  }
  if (own->newest != 0 && key.passwordSet > own->newest + kClockSkewSeconds) {
    return newest + ", and the account has another password" + since(key.passwordSet) + "." +
           remedy;
  }
  return {};
}

std::string keytabProblem(const AccountKey& key, const std::string& principal) {
  const std::string path = tolk::keytabPath();
  try {
    tolk::KerberosContext kerberos;
    return keyProblem(key, tolk::machineAccountsInKeytab(kerberos, path), principal, path);
  } catch (const tolk::Base_Exception& e) {
    return e.what();
  }
}

}  // namespace velkd
