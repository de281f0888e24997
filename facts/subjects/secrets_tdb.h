// Samba's own copy of the machine password, as far as it tells without being read.
#pragma once

#include "facts/subjects/join.h"

namespace joinscope::facts {

/// Fills `secrets` and `secretsChanged`; not asked where there is no such file. The password itself
/// is not read.
void readSecretsTdb(Join& join);

}  // namespace joinscope::facts
