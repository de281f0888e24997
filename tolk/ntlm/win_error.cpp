// One table for both kinds of number: NT status and Windows error.
#include "tolk/ntlm/win_error.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace tolk {
namespace {

struct LogonError {
  std::uint32_t status;  // NT status
  int windows;           // Windows error; 0 when that would be another row's
  const char* text;
};

constexpr std::array kErrors{
    LogonError{0x00000000, 0, "The operation completed successfully."},
    LogonError{0xC000000D, 87, "The parameter is incorrect."},
    LogonError{0xC0000022, 5, "Access is denied."},
    LogonError{0xC000005E, 1311,
               "There are currently no logon servers available to service the logon request."},
    LogonError{0xC0000064, 1317, "The specified account does not exist."},
    LogonError{0xC000006A, 86, "The specified network password is not correct."},
    LogonError{0xC000006D, 1326, "The user name or password is incorrect."},
    LogonError{0xC000006E, 1327,
               "Account restrictions are preventing this user from signing in. For example: blank "
               "passwords aren't allowed, sign-in times are limited, or a policy restriction has "
               "been enforced."},
    LogonError{0xC000006F, 1328,
               "Your account has time restrictions that keep you from signing in right now."},
    LogonError{0xC0000070, 1329, "This user isn't allowed to sign in to this computer."},
    LogonError{0xC0000071, 1330, "The password for this account has expired."},
    LogonError{0xC0000072, 1331,
               "This user can't sign in because this account is currently disabled."},
    LogonError{0xC000009A, 1450,
               "Insufficient system resources exist to complete the requested service."},
    LogonError{0xC00000BB, 50, "The request is not supported."},
    LogonError{0xC00000DC, 1352,
               "The security account manager (SAM) or local security authority (LSA) server was in "
               "the wrong state to perform the security operation."},
    LogonError{0xC00000DD, 1353,
               "The domain was in the wrong state to perform the security operation."},
    LogonError{0xC00000DF, 1355,
               "The specified domain either does not exist or could not be contacted."},
    LogonError{0xC0000133, 1398,
               "There is a time and/or date difference between the client and server."},
    LogonError{0xC000015B, 1385,
               "Logon failure: the user has not been granted the requested logon type at this "
               "computer."},
    LogonError{0xC000018A, 1786, "The workstation does not have a trust secret."},
    LogonError{0xC000018B, 1787,
               "The security database on the server does not have a computer account for this "
               "workstation trust relationship."},
    LogonError{0xC000018C, 1788,
               "The trust relationship between the primary domain and the trusted domain failed."},
    LogonError{0xC000018D, 1789,
               "The trust relationship between this workstation and the primary domain failed."},
    LogonError{0xC0000190, 1790, "The network logon failed."},
    LogonError{0xC0000192, 1792,
               "An attempt was made to logon, but the network logon service was not started."},
    LogonError{0xC0000193, 1793, "The user's account has expired."},
    LogonError{0xC0000198, 1807,
               "The account used is an interdomain trust account. Use your global user account or "
               "local user account to access this server."},
    LogonError{0xC0000199, 1808,
               "The account used is a computer account. Use your global user account or local user "
               "account to access this server."},
    LogonError{0xC000019A, 1809,
               "The account used is a server trust account. Use your global user account or local "
               "user account to access this server."},
    LogonError{0xC0000203, 0, "The remote user session has been deleted."},
    LogonError{0xC0000224, 1907, "The user's password must be changed before signing in."},
    LogonError{0xC0000233, 1908, "Could not find the domain controller for this domain."},
    LogonError{0xC0000234, 1909,
               "The referenced account is currently locked out and may not be logged on to."},
    LogonError{0xC0000388, 1265,
               "The system cannot contact a domain controller to service the authentication "
               "request. Please try again later."},
    LogonError{0xC0000413, 1935,
               "The computer you are signing into is protected by an authentication firewall. The "
               "specified account is not allowed to authenticate to the computer."},
    LogonError{0xC0000418, 1937, "The authentication failed because NTLM was blocked."},
};

std::string unknown(int error) {
  if (error > 0 && error < 0x10000) return "Windows error " + std::to_string(error);
  std::array<char, sizeof "NT status 0x12345678"> text{};
  (void)std::snprintf(text.data(), text.size(), "NT status 0x%08x", static_cast<unsigned>(error));
  return text.data();
}

}  // namespace

std::string WinErrToString(int error) {
  const auto status = static_cast<std::uint32_t>(error);
  const auto* const found = std::ranges::find_if(kErrors, [=](const LogonError& row) {
    return row.status == status || (error != 0 && row.windows == error);
  });
  return found == kErrors.end() ? unknown(error) : found->text;
}

}  // namespace tolk
