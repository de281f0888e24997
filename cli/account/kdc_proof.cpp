#include "cli/account/kdc_proof.h"

#include <unistd.h>

#include <ostream>

#include "cli/common/exit_status.h"
#include "cli/common/output.h"
#include "cli/common/task_context.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kdc_proof.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/ldap/ad_binding.h"

namespace joinscope {
namespace {

/// The name of the client that the KDC vouches for; "" where there is nothing to test it with.
std::string provenClient(const TaskContext& context) {
  if (::getuid() != 0 || !context.joined ||
      !tolk::equalsIgnoringCase(context.domain, context.joinedDomain))
    return {};
  return tolk::proveKdc(*context.kerberosContext, context.binding->cacheName());
}

void tell(std::ostream* verbose, const std::string& client) {
  if (verbose == nullptr) return;
  *verbose << prefix(1);
  if (client.empty()) {
    *verbose << "KDC not proved, which takes root and the keytab of a host joined to the domain: "
                "the LDAP server alone proved itself, with a ticket of the same KDC\n";
  } else {
    *verbose << "KDC proved: its ticket for this computer, as " << tolk::printable(client)
             << ", opens with " << tolk::keytabPath() << '\n';
  }
}

}  // namespace

bool provePassword(TaskContext& context, std::ostream* verbose) {
  try {
    tell(verbose, provenClient(context));
    return true;
  } catch (const tolk::KerberosException& failure) {
    context.errorMessage =
        "Kerberos error: rc=" + std::to_string(failure.code()) + " " + failure.what() +
        ". The password was accepted, but by a KDC that could not be proved to be the domain's: "
        "another one answers for the realm, or this computer's keytab is out of date";
    context.errorCode = exit_status::kMiscError;
    return false;
  }
}

}  // namespace joinscope
