// A Kerberos context as every other program on this host has it: its configuration, its search for
// key distribution centers, nothing of the agent's.
#pragma once

#include <memory>
#include <type_traits>

#include "tolk/base/handle.h"
#include "tolk/krb5/krb5_library.h"

namespace tolk {

class PlainKerberosContext {
 public:
  /// Changes no file, unlike KerberosContext. Throws KerberosException, KRB5_CONFIG_BADFORMAT when
  /// a configuration file is malformed.
  PlainKerberosContext();

  [[nodiscard]] krb5_context get() const noexcept { return context_.get(); }

 private:
  std::unique_ptr<std::remove_pointer_t<krb5_context>, Releaser<krb5_free_context>> context_;
};

}  // namespace tolk
