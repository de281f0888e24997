// What the directory says of a user: whether one more wrong password is safe, and what a join by
// this user would meet.
#pragma once

#include <string>

#include "facts/subjects/directory.h"
#include "tolk/ldap/ad_binding.h"

namespace joinscope::facts {

/// Fills directory.user; directory.policy has been read. Throws nothing of the tolk family.
void readUser(tolk::ADBinding& binding, const std::string& user, Directory& directory);

/// Fills directory.joining for a binding as the user, whose directory.user and policy have been
/// read. `account` is the name without "$". Throws nothing of the tolk family.
void readJoining(tolk::ADBinding& binding, const std::string& account, Directory& directory);

}  // namespace joinscope::facts
