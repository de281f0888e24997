// A Kerberos context as every other program on this host has it: its configuration, its search for
// key distribution centers, nothing of the agent's.
#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "tolk/base/handle.h"
#include "tolk/krb5/config_files.h"
#include "tolk/krb5/krb5_library.h"

namespace tolk {

class PlainKerberosContext {
 public:
  /// Reads `files` and changes none, unlike KerberosContext. Throws KerberosException,
  /// KRB5_CONFIG_BADFORMAT when one of them is malformed. Files that are not there are no failure.
  explicit PlainKerberosContext(const std::vector<std::string>& files = configFiles());

  [[nodiscard]] krb5_context get() const noexcept { return context_.get(); }

 private:
  std::unique_ptr<std::remove_pointer_t<krb5_context>, Releaser<krb5_free_context>> context_;
};

}  // namespace tolk
