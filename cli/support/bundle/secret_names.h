// Names of values that must not leave the host.
#pragma once

#include <string_view>

namespace joinscope {

/// Whether a value of this name is a secret: `db_password`, `DB_PWD`, `bindpw`, `clientSecret`,
/// `private-key2`. Case and what stands between the words do not count.
bool isSecretName(std::string_view name);

}  // namespace joinscope
