// What the rules of joincheck find in the facts that the daemon has: this host's computer object
// and the keytab. A ticket that was got before hides for hours that the keys are dead.
#pragma once

#include <string>
#include <vector>

#include "tolk/ldap/ad_object.h"

namespace velkd {

/// The attributes that accountProblems() goes by.
[[nodiscard]] const std::vector<std::string>& lookedAt();

/// What is wrong with the account, or with its keys in this host's keytab as it is now: a sentence
/// each, with the remedy. `principal` is the account of the join, "NAME$@REALM". Throws
/// SystemException and BadDataException for damaged attributes.
[[nodiscard]] std::vector<std::string> accountProblems(const tolk::ADObject& computer,
                                                       const std::string& principal);

}  // namespace velkd
