// This host's computer object, and who else in the forest claims its names.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "facts/reading.h"
#include "tolk/ldap/ad_object.h"

namespace tolk {
class ADBinding;
}

namespace joinscope {

/// Where a computer object is looked for.
struct ComputerSearch {
  std::string filter;
  std::string base;
};

/// For the account name `samName` and "$" in the binding's domain.
ComputerSearch computerSearch(const tolk::ADBinding& binding, const std::string& samName);

/// The object with `attributes` (null-terminated) and what the zones add to it. Throws
/// LDAPException, or NotFoundException when there is none.
boost::shared_ptr<tolk::ADObject> readComputer(tolk::ADBinding& binding,
                                               const ComputerSearch& search,
                                               const char** attributes);

/// What the report about the account shows of the object.
struct AccountFacts {
  bool trustedForDelegation = false;
  bool desKeyOnly = false;
  Reading<int> keyVersion;
  std::vector<std::string> principalNames;
  std::optional<std::uint32_t> encryptionTypes;  ///< MS-KILE 2.2.7; none: absent or no number
  std::string systemVersion;
};

/// The attributes that these take, beside those of tolk::ComputerObjectHelper: null-terminated.
std::vector<const char*> accountAttributes();

/// Throws SystemException when the account's flags are no number.
AccountFacts accountFacts(const tolk::ADObject& computer);

/// An object that holds a service principal name.
struct Claimant {
  std::string dn;
  bool disabled = false;
};

/// From the object as tolk::findObjsWithSpns() reads it; flags that are no number say nothing.
Claimant claimantOf(const tolk::ADObject& object);

/// The objects that hold any of `names`: of the forest by `catalog`, a binding to a global catalog;
/// of the domain by `domain` where `catalog` is null or fails. Throws LDAPException.
std::vector<Claimant> readClaimants(tolk::ADBinding& domain, tolk::ADBinding* catalog,
                                    const std::list<std::string>& names);

}  // namespace joinscope
