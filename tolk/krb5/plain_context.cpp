// The library's own start.
#include "tolk/krb5/plain_context.h"

#include "tolk/krb5/krb5_error.h"

namespace tolk {

PlainKerberosContext::PlainKerberosContext() {
  krb5_context context = nullptr;
  throwIfKrb5(nullptr, krb5_init_context(&context), "Kerberos configuration");
  context_.reset(context);
}

}  // namespace tolk
