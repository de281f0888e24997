// Has a domain controller check an NTLM logon: the messages of a client are relayed to it over SMB.
#pragma once

#include <string>

#include "tolk/ntlm/ntlm_ssp.h"
#include "tolk/ntlm/smb_user.h"

namespace tolk {

/// One relayed logon: init(), getChallenge(), authenticate(). It never sees the password. Failures
/// to talk are TOLKException with the server's name and the step.
class ADNTLM {
 public:
  /// `server` is the name or address of the controller to ask (a ":port" behind it, meant for other
  /// protocols, is dropped); when it is empty, one of `domain` is looked for.
  ADNTLM(const std::string& user, const std::string& domain, const std::string& server = {});

  /// Finds the controller (NetworkState::getDCForDomain), opens the SMB session with it and sends
  /// the client's first message.
  void init(const std::string& type1);

  /// The controller's challenge message, well-formed.
  [[nodiscard]] const std::string& getChallenge() const noexcept { return challenge_; }

  /// Sends the client's third message. 0 when the controller accepts it, else the NT status with
  /// which it refuses, for WinErrToString(). `out` becomes what came along with a success.
  int authenticate(const std::string& type3, std::string& out);

  /// The domain in upper case.
  [[nodiscard]] const std::string& realm() const noexcept { return realm_; }
  /// The session, to end it early; it ends with this object.
  [[nodiscard]] SmbUser& smbUser() noexcept { return smbUser_; }

 private:
  std::string user_;
  std::string realm_;
  std::string server_;
  SmbUser smbUser_;
  NtlmSSP reader_;  // reads the challenge as the client will; has no password
  std::string challenge_;
};

}  // namespace tolk
