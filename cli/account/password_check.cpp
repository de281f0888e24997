// By Kerberos the bind is the check; by NTLM a logon at a controller.
#include "cli/account/password_check.h"

#include <iostream>
#include <string>

#include "cli/account/binding.h"
#include "cli/account/kdc_proof.h"
#include "cli/account/ntlm_logon.h"
#include "cli/account/short_name_proof.h"
#include "cli/common/exit_status.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "cli/common/user_credentials.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/fips.h"
#include "tolk/base/stack_scrub.h"
#include "tolk/base/text.h"
#include "tolk/ntlm/win_error.h"

namespace joinscope {
namespace {

std::string userName(const TaskContext& context) {
  const char* user = context.credentials->user;
  return user == nullptr ? std::string() : tolk::printable(user);
}

int missing(const char* message) {
  std::cout << message << '\n';
  return exit_status::kUsageError;
}

/// What both checks need; 0 or the status to end with.
int checkInput(const TaskContext& context, const char* withoutCredentials) {
  if (context.credentials == nullptr) return missing(withoutCredentials);
  if (context.domain.empty()) {
    return missing("No domain specified\nSpecify a domain or join the machine to a domain");
  }
  return exit_status::kSuccess;
}

void tell(const Run& run, const char* what) {
  run.verbose << prefix(1) << what << ", domain=" << tolk::printable(run.context.domain)
              << ", user=" << userName(run.context) << '\n'
              << std::flush;
}

int correct(const TaskContext& context, bool quiet) {
  if (!quiet) std::cout << "Password for user \"" << userName(context) << "\" is correct\n";
  return exit_status::kSuccess;
}

}  // namespace

int checkPassword(TaskContext& context, const char* server, std::ostream* verbose, bool quiet) {
  const int status = checkInput(context, "No user credentials are input from verification");
  if (status != exit_status::kSuccess) return status;
  const Run run(context, server, verbose);
  tell(run, "Checking user password");
  // A pre-check claims nothing, so nothing is proved for it: a report about a broken keytab must
  // not fail by that keytab.
  if (getBinding(context, server, verbose) &&
      (quiet || (provePassword(run) && proveShortName(context)))) {
    return correct(context, quiet);
  }
  if (!quiet) tellAboutRefusal(run);
  std::cout << "Unable to connect to server " << (server == nullptr ? "" : server)
            << ". Reason: " << context.errorMessage << '\n';
  return context.errorCode != 0 ? context.errorCode : exit_status::kMiscError;
}

int checkNtlmPassword(TaskContext& context, const char* server, std::ostream* verbose, bool quiet) {
  if (tolk::FIPSHelper::isStarted()) {
    return missing(
        "FIPS mode is enabled, checking user's password using NTLM over SMB authentication is not "
        "allowed.");
  }
  const int status = checkInput(context, "No user credentials were supplied");
  if (status != exit_status::kSuccess) return status;
  tell(Run(context, server, verbose), "Checking NTLM user password");
  try {
    const int rc = ntlmLogon(context, server);
    tolk::scrubStack();
    if (rc == 0) return correct(context, quiet);
    std::cerr << "Failed to authenticate user " << userName(context)
              << ".\nReason: " << tolk::WinErrToString(rc) << '\n';
    return exit_status::kNtlmRefused;
  } catch (const tolk::TOLKException& failure) {
    tolk::scrubStack();
    std::cerr << "Failed to authenticate user " << userName(context)
              << ".\nException caught: " << tolk::printable(failure.what()) << '\n';
    return exit_status::kNtlmFailed;
  }
}

}  // namespace joinscope
