// What a failed bind means to the caller: one message and one exit status.
#pragma once

#include <exception>
#include <string>

namespace joinscope {

struct UserCredentials;

/// Whose credentials a bind uses.
enum class CredentialPath {
  userCache,     ///< the user's own ticket cache
  userPassword,  ///< user name and password
  machine,       ///< the computer account's keytab
  notRoot,       ///< none: only root may use the computer account
  notJoined      ///< none: there is no computer account
};

struct BindingFailure {
  std::string message;
  int status;
};

/// Translates an exception that ended a bind on `path`. `credentials` is the run's record, null on
/// the machine's path.
BindingFailure describeFailure(const std::exception& failure, CredentialPath path,
                               const UserCredentials* credentials);

/// Keeps for the verbose stream (tolk/base/troubles.h) why a bind to `whom` failed: the message of
/// the table may say less, and not every report shows it.
void noteBindFailure(const std::string& whom, std::string reason);

}  // namespace joinscope
