// The computer's object, attribute by attribute.
#include <cstdint>

#include "facts/subjects/directory.h"
#include "tolk/base/times.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/ad_object.h"
#include "tolk/ldap/sid.h"

namespace joinscope::facts {
namespace {

constexpr char kComputed[] = "msDS-User-Account-Control-Computed";
constexpr char kExpires[] = "accountExpires";
constexpr char kOperatingSystem[] = "operatingSystem";

std::int64_t numberIn(const tolk::ADObject& object, const char* name) {
  return object.attributeExists(name, true) ? object[name].toInt64() : 0;
}

/// 0 for a time that never comes (MS-ADTS 2.3.1, accountExpires) or never was.
std::int64_t timeIn(const tolk::ADObject& object, const char* name) {
  const std::int64_t intervals = numberIn(object, name);
  return intervals <= 0 || intervals == INT64_MAX ? 0 : tolk::unixTimeOf(intervals);
}

}  // namespace

const char* const kAccountAttributes[] = {tolk::AD_DN,
                                          tolk::AD_SAM_ACCOUNT_NAME,
                                          tolk::AD_USER_ACCNT_CONTROL,
                                          kComputed,
                                          tolk::AD_KEY_VERSION_NUMBER,
                                          tolk::AD_PWCHG_LAST,
                                          kExpires,
                                          tolk::AD_SUPPORTED_ENCTYPES,
                                          tolk::AD_DNS_HOST_NAME,
                                          tolk::AD_OBJECT_SID,
                                          kOperatingSystem,
                                          tolk::AD_SERVER_PRINCIPAL_NAME,
                                          nullptr};

void takeAccount(const tolk::ADObject& object, Account& account) {
  account.dn = object.dn();
  account.name = object.getString(tolk::AD_SAM_ACCOUNT_NAME, "");
  account.control = numberIn(object, tolk::AD_USER_ACCNT_CONTROL);
  account.computed = numberIn(object, kComputed);
  account.keyVersion = numberIn(object, tolk::AD_KEY_VERSION_NUMBER);
  account.passwordSet = timeIn(object, tolk::AD_PWCHG_LAST);
  account.expires = timeIn(object, kExpires);
  account.encryptionTypes = numberIn(object, tolk::AD_SUPPORTED_ENCTYPES);
  account.dnsHostName = object.getString(tolk::AD_DNS_HOST_NAME, "");
  account.operatingSystem = object.getString(kOperatingSystem, "");
  account.spns = object.getStrings(tolk::AD_SERVER_PRINCIPAL_NAME);
  const std::string sid = object.getString(tolk::AD_OBJECT_SID, "");
  if (!sid.empty()) account.sid = tolk::SID::fromBinary(sid).toString();
}

}  // namespace joinscope::facts
