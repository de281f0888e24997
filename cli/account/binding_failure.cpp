// One table, its first row that fits wins: kind of exception, code, path, and with them message
// and status.
#include "cli/account/binding_failure.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <optional>

#include "cli/common/exit_status.h"
#include "cli/common/user_credentials.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/krb5/krb5_library.h"

namespace joinscope {
namespace {

using tolk::BindError;

/// What the %s of a message stand for.
enum class Fill { nothing, text, user, codeAndText };

struct FailureRow {
  bool (*isKind)(const std::exception&);
  std::optional<long> code;  ///< empty: any
  bool machineOnly;
  const char* message;
  Fill fill;
  int status;
};

template <typename Kind>
bool is(const std::exception& failure) {
  return dynamic_cast<const Kind*>(&failure) != nullptr;
}

constexpr bool (*kLdap)(const std::exception&) = is<tolk::LDAPException>;
constexpr bool (*kBase)(const std::exception&) = is<tolk::BaseException>;
constexpr bool (*kNotFound)(const std::exception&) = is<tolk::NotFoundException>;
constexpr bool (*kKerberos)(const std::exception&) = is<tolk::KerberosException>;
bool any(const std::exception& /*failure*/) {
  return true;
}

constexpr char kInvalidUser[] = "Invalid username or password for user \"%s\"";
constexpr char kKerberosError[] = "Kerberos error: rc=%s %s";
constexpr char kMachinePassword[] =
    "Computer account password has been changed.\n"
    "Please correct the cause of this problem, then reset the Computer account in\n"
    "Active Directory.";
constexpr char kSkew[] =
    "Error: Clock skew too great between this computer and the domain controller. Please enable "
    "NTP or synchronize this system's time to the domain controller";
constexpr char kRevoked[] =
    "Error: Principal's TGT revoked by Domain Controller, while getting service ticket.\n"
    "If machine is located in RODC site, please re-request TGT by running kinit or specify -I to "
    "allow prompting for user's password";

namespace status = exit_status;

constexpr std::array kFailures{
    // The first row that matches counts; the last one matches everything.
    FailureRow{kLdap, {}, false, "LDAP: %s", Fill::text, status::kMiscError},
    FailureRow{kBase, BindError::kInvalidCredentials, false, kInvalidUser, Fill::user,
               status::kInvalidCredentials},
    FailureRow{kBase, BindError::kCredentialsUnusable, false, kInvalidUser, Fill::user,
               status::kInvalidCredentials},
    FailureRow{kBase, BindError::kUnknownUser, false, kInvalidUser, Fill::user,
               status::kInvalidCredentials},
    FailureRow{kBase, BindError::kJoinedToOtherDomain, false,
               "This computer is joined to another domain.\n", Fill::nothing, status::kOtherDomain},
    FailureRow{kBase, {}, false, "BaseException: %s", Fill::text, status::kMiscError},
    FailureRow{kNotFound, {}, false, "Active Directory: %s", Fill::text, status::kMiscError},
    FailureRow{kKerberos, KRB5KDC_ERR_PREAUTH_FAILED, true, kMachinePassword, Fill::nothing,
               status::kPasswordChanged},
    FailureRow{kKerberos, KRB5KDC_ERR_ETYPE_NOSUPP, false, kInvalidUser, Fill::user,
               status::kInvalidCredentials},
    FailureRow{kKerberos, KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN, false, kInvalidUser, Fill::user,
               status::kInvalidCredentials},
    FailureRow{kKerberos, KRB5KRB_AP_ERR_SKEW, false, kSkew, Fill::nothing, status::kClockSkew},
    FailureRow{kKerberos, KRB5KDC_ERR_TGT_REVOKED, false, kRevoked, Fill::nothing,
               status::kTicketRevoked},
    FailureRow{kKerberos, {}, false, kKerberosError, Fill::codeAndText, status::kMiscError},
    FailureRow{any, {}, false, "Unexpected Exception: %s", Fill::text, status::kMiscError},
};

int codeOf(const std::exception& failure) {
  const auto* own = dynamic_cast<const tolk::Base_Exception*>(&failure);
  return own == nullptr ? 0 : own->code();
}

std::string userOf(CredentialPath path, const UserCredentials* credentials) {
  if (path == CredentialPath::machine) return "localhost";
  return credentials != nullptr && credentials->user != nullptr ? tolk::printable(credentials->user)
                                                                : "";
}

}  // namespace

BindingFailure describeFailure(const std::exception& failure, CredentialPath path,
                               const UserCredentials* credentials) {
  const int code = codeOf(failure);
  const auto row = std::find_if(kFailures.begin(), kFailures.end(), [&](const FailureRow& r) {
    return r.isKind(failure) && (!r.code || *r.code == code) &&
           (!r.machineOnly || path == CredentialPath::machine);
  });
  assert(row != kFailures.end());
  switch (row->fill) {
    case Fill::nothing:
      return {row->message, row->status};
    case Fill::text:
      return {tolk::formatText(row->message, {failure.what()}), row->status};
    case Fill::user:
      return {tolk::formatText(row->message, {userOf(path, credentials)}), row->status};
    case Fill::codeAndText:
      return {tolk::formatText(row->message, {std::to_string(code), failure.what()}), row->status};
  }
  return {row->message, row->status};
}

void noteBindFailure(const std::string& whom, std::string reason) {
  std::ranges::replace(reason, '\n', ' ');
  tolk::noteTrouble("cli.joinscope",
                    "Cannot bind to " + tolk::printable(whom) + ": " + tolk::printable(reason));
}

}  // namespace joinscope
