// The attributes whose names end in Effective tell what the one who asks may do (MS-ADTS
// 3.1.1.4.5.21 and 23).
#include "facts/user_reads.h"

#include <algorithm>
#include <ctime>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/base/times.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/ldap/sid.h"

namespace joinscope::facts {
namespace {

constexpr char kWrongPasswords[] = "badPwdCount";
constexpr char kLastWrong[] = "badPasswordTime";
constexpr char kOwnPolicy[] = "msDS-ResultantPSO";
constexpr char kOwnThreshold[] = "msDS-LockoutThreshold";
constexpr char kMayWrite[] = "allowedAttributesEffective";
constexpr char kMayCreate[] = "allowedChildClassesEffective";
constexpr int kNoSuchObject = 32;

constexpr const char* kUserAttributes[] = {tolk::AD_OBJECT_SID, kWrongPasswords, kLastWrong,
                                           kOwnPolicy, nullptr};
constexpr const char* kThresholdAttributes[] = {kOwnThreshold, nullptr};
constexpr const char* kMayWriteAttributes[] = {kMayWrite, nullptr};
constexpr const char* kMayCreateAttributes[] = {kMayCreate, nullptr};
constexpr const char* kNoAttributes[] = {tolk::AD_DN_ONLY, nullptr};

std::int64_t numberIn(const tolk::ADObject& object, const char* name) {
  return object.attributeExists(name, true) ? object[name].toInt64() : 0;
}

bool lists(const tolk::ADObject& object, const char* attribute, const char* value) {
  const std::vector<std::string> values = object.getStrings(attribute);
  return std::ranges::any_of(
      values, [value](const std::string& one) { return tolk::equalsIgnoringCase(one, value); });
}

tolk::ADObjectList searchDomain(tolk::ADBinding& binding, const std::string& filter,
                                const char* const* attributes) {
  return *binding.search(filter, tolk::LDAPBinding::DNSNameToDN(binding.domainName()), attributes,
                         tolk::SearchScope::subtree, 0, 0, tolk::SearchFlags::none);
}

/// "DOMAIN\name", "name@suffix" or "name": by account name, or the whole as a principal name.
std::string userFilter(const std::string& user) {
  const std::string name = user.substr(user.find('\\') + 1);
  return "(&(objectClass=user)(|(sAMAccountName=" +
         tolk::DN::escapeLDAPFilter(name.substr(0, name.find('@'))) +
         ")(userPrincipalName=" + tolk::DN::escapeLDAPFilter(name) + ")))";
}

/// The threshold of a policy of the user's own goes before the domain's. One that cannot be read
/// may be the lowest that makes sense.
std::int64_t thresholdOf(tolk::ADBinding& binding, const tolk::ADObject& user,
                         const Policy& policy) {
  const std::string own = user.getString(kOwnPolicy, "");
  if (own.empty()) return policy.lockoutThreshold;
  constexpr std::int64_t kLowest = 2;
  const tolk::ADObject object =
      binding.fetch(own, kThresholdAttributes, tolk::AD_ALL_OBJECTS, false);
  return object.attributeExists(kOwnThreshold, true) ? numberIn(object, kOwnThreshold) : kLowest;
}

void takeUser(tolk::ADBinding& binding, const std::string& dn, Directory& directory) {
  // By name: what the server computes is told for reads of one object only.
  const tolk::ADObject object = binding.fetch(dn, kUserAttributes, tolk::AD_ALL_OBJECTS, true);
  UserAccount& user = directory.user;
  user.dn = dn;
  user.sid = tolk::SID::fromBinary(object.getString(tolk::AD_OBJECT_SID, "")).toString();
  user.limit = thresholdOf(binding, object, directory.policy);
  const std::int64_t last = tolk::unixTimeOf(numberIn(object, kLastWrong));
  const bool counts = std::time(nullptr) < last + directory.policy.lockoutWindow;
  user.wrongPasswords = counts ? numberIn(object, kWrongPasswords) : 0;
}

/// Computers that the user has made by the quota (MS-ADTS 3.1.1.5.2.2, ms-DS-CreatorSID).
std::int64_t createdBy(tolk::ADBinding& binding, const std::string& userDn) {
  constexpr const char* kSid[] = {tolk::AD_OBJECT_SID, nullptr};
  const tolk::ADObject user = binding.fetch(userDn, kSid, tolk::AD_ALL_OBJECTS, true);
  const std::string filter =
      "(ms-DS-CreatorSID=" + tolk::DN::escapeLDAPFilter(user.getString(tolk::AD_OBJECT_SID, "")) +
      ")";
  return static_cast<std::int64_t>(searchDomain(binding, filter, kNoAttributes).size());
}

}  // namespace

void readUser(tolk::ADBinding& binding, const std::string& user, Directory& directory) {
  directory.user.read = ask([&] {
    const tolk::ADObjectList found = searchDomain(binding, userFilter(user), kNoAttributes);
    if (found.empty()) throw tolk::LDAPException("no user of that name", kNoSuchObject);
    takeUser(binding, found.front().dn(), directory);
  });
}

void readJoining(tolk::ADBinding& binding, const std::string& account, Directory& directory) {
  Joining& joining = directory.joining;
  joining.account = account;
  joining.names = ask([&] {
    const tolk::ADObjectList found = searchDomain(
        binding, "(sAMAccountName=" + tolk::DN::escapeLDAPFilter(account) + "$)", kNoAttributes);
    if (found.empty()) return;
    joining.taken = found.front().dn();
    joining.takenWritable =
        lists(binding.fetch(joining.taken, kMayWriteAttributes, tolk::AD_ALL_OBJECTS, false),
              kMayWrite, tolk::AD_USER_ACCNT_CONTROL);
  });
  joining.rights = ask([&] {
    joining.mayCreate = lists(
        binding.fetch(directory.policy.computers, kMayCreateAttributes, tolk::AD_ALL_OBJECTS, true),
        kMayCreate, "computer");
    if (!directory.user.dn.empty()) joining.created = createdBy(binding, directory.user.dn);
  });
}

}  // namespace joinscope::facts
