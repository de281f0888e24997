#include "cli/account/binding_failure.h"

#include <gtest/gtest.h>

#include <functional>

#include "cli/common/user_credentials.h"
#include "tolk/base/exceptions.h"
#include "tolk/krb5/krb5_library.h"

namespace joinscope {
namespace {

constexpr CredentialPath kCache = CredentialPath::userCache;
constexpr CredentialPath kPassword = CredentialPath::userPassword;
constexpr CredentialPath kMachine = CredentialPath::machine;

constexpr char kInvalidAlice[] = "Invalid username or password for user \"al\\x1Bice\"";
constexpr char kInvalidNobody[] = "Invalid username or password for user \"\"";
constexpr char kMachineChanged[] =
    "Computer account password has been changed.\nPlease correct the cause of this problem, then "
    "reset the Computer account in\nActive Directory.";
constexpr char kSkew[] =
    "Error: Clock skew too great between this computer and the domain controller. Please enable "
    "NTP or synchronize this system's time to the domain controller";
constexpr char kRevoked[] =
    "Error: Principal's TGT revoked by Domain Controller, while getting service ticket.\nIf "
    "machine is located in RODC site, please re-request TGT by running kinit or specify -I to "
    "allow prompting for user's password";

template <typename Kind>
std::shared_ptr<std::exception> make(long code) {
  return std::make_shared<Kind>("100% text", static_cast<int>(code));
}

TEST(BindingFailure, EachKindAndCodeHasItsMessageAndStatus) {
  using tolk::BaseException;
  using tolk::KerberosException;
  struct Row {
    std::shared_ptr<std::exception> failure;
    CredentialPath path;
    std::string message;
    int status;
  };
  const Row rows[] = {
      {make<tolk::LDAPException>(49), kPassword, "LDAP: 100% text", 6},
      {make<BaseException>(1001), kPassword, kInvalidAlice, 19},
      {make<BaseException>(1030), kPassword, kInvalidAlice, 19},
      {make<BaseException>(1004), kPassword, kInvalidAlice, 19},
      {make<BaseException>(1001), kMachine, "Invalid username or password for user \"localhost\"",
       19},
      {make<BaseException>(1016), kMachine, "This computer is joined to another domain.\n", 12},
      {make<BaseException>(1002), kPassword, "BaseException: 100% text", 6},
      {make<tolk::NotFoundException>(-1), kMachine, "Active Directory: 100% text", 6},
      {make<KerberosException>(KRB5KDC_ERR_PREAUTH_FAILED), kMachine, kMachineChanged, 156},
      {make<KerberosException>(KRB5KDC_ERR_PREAUTH_FAILED), kCache,
       "Kerberos error: rc=-1765328360 100% text", 6},
      {make<KerberosException>(KRB5KDC_ERR_ETYPE_NOSUPP), kPassword, kInvalidAlice, 19},
      {make<KerberosException>(KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN), kPassword, kInvalidAlice, 19},
      {make<KerberosException>(KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN), kMachine,
       "Invalid username or password for user \"localhost\"", 19},
      {make<KerberosException>(KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN), kCache, kInvalidNobody, 19},
      {make<KerberosException>(KRB5KRB_AP_ERR_SKEW), kCache, kSkew, 28},
      {make<KerberosException>(KRB5KDC_ERR_TGT_REVOKED), kCache, kRevoked, 56},
      {make<KerberosException>(KRB5KDC_ERR_CLIENT_REVOKED), kPassword,
       "Kerberos error: rc=-1765328366 100% text", 6},
      {make<tolk::TOLKException>(1001), kPassword, "Unexpected Exception: 100% text", 6},
      {make<tolk::KELPException>(1001), kPassword, "Unexpected Exception: 100% text", 6},
      {std::make_shared<std::runtime_error>("plain"), kPassword, "Unexpected Exception: plain", 6},
  };
  const UserCredentials nobody;
  UserCredentials alice;
  alice.user =
      "al\x1b"
      "ice";
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    const UserCredentials* user = row.path == kPassword ? &alice : &nobody;
    const BindingFailure failure =
        describeFailure(*row.failure, row.path, row.path == kMachine ? nullptr : user);
    EXPECT_EQ(failure.message, row.message);
    EXPECT_EQ(failure.status, row.status);
  }
}

}  // namespace
}  // namespace joinscope
