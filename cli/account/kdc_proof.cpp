// A KDC that knows this host's own key is the domain's: nobody else can make a ticket that the
// keytab opens.
#include "cli/account/kdc_proof.h"

#include <unistd.h>

#include <ostream>

#include "cli/common/exit_status.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kdc_proof.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/krb5/machine_ticket.h"
#include "tolk/ldap/ad_binding.h"

namespace joinscope {
namespace {

/// Whether this run may use the keys of an account in the context's domain.
bool mayUseKeytab(const TaskContext& context) {
  return ::getuid() == 0 && context.joined &&
         tolk::equalsIgnoringCase(context.domain, context.joinedDomain);
}

/// The name of the client that the KDC vouches for; "" where there is nothing to test it with.
std::string provenClient(const TaskContext& context) {
  if (!mayUseKeytab(context)) return {};
  return tolk::proveKdc(*context.kerberosContext, context.binding->cacheName());
}

void tell(std::ostream& verbose, const std::string& client) {
  verbose << prefix(1);
  if (client.empty()) {
    verbose << "KDC not proved, which takes root and the keytab of a host joined to the domain: "
               "the LDAP server alone proved itself, with a ticket of the same KDC\n";
  } else {
    verbose << "KDC proved: its ticket for this computer, as " << tolk::printable(client)
            << ", opens with " << tolk::keytabPath() << '\n';
  }
}

}  // namespace

bool provePassword(const Run& run) {
  TaskContext& context = run.context;
  try {
    tell(run.verbose, provenClient(context));
    return true;
  } catch (const tolk::KerberosException& failure) {
    context.errorMessage =
        "Kerberos error: rc=" + std::to_string(failure.code()) + " " + failure.what() +
        ". The password was accepted, but by a KDC that could not be proved to be the domain's: "
        "another one answers for the realm, or this computer's account or keytab is out of date";
    context.errorCode = exit_status::kMiscError;
    return false;
  }
}

void tellAboutRefusal(const Run& run) {
  if (!isRead(run.verbose) || run.context.errorCode != exit_status::kInvalidCredentials ||
      !mayUseKeytab(run.context))
    return;
  try {
    constexpr int kLifetimeSeconds = 60;
    tolk::KerberosContext kerberos;
    const tolk::MachineTicket ticket(kerberos, "", kLifetimeSeconds);
    run.verbose << prefix(1) << "A KDC of the realm knows this computer's key\n";
  } catch (const tolk::Base_Exception& failure) {
    run.verbose
        << prefix(1)
        << "The refusal may come from another KDC than the domain's, which does not know this "
           "computer's key either: "
        << failure.what() << '\n';
  }
}

}  // namespace joinscope
