// Has a domain controller check an NTLM logon: the messages of a client are relayed to it over SMB.
//
// A logon counts when three things hold. The challenge names the domain that was asked for, and the
// user is of that domain; a server of another domain speaks for other accounts. The answer is
// signed with the session key: that key comes out of the user's own, which a server that is no
// controller gets from a controller for a right password only. The client's integrity code covers
// the challenge, so that nobody between the two can have put in other names. A server that does not
// sign, though the request makes that a duty, has shown nothing. What remains: a false server that
// guesses the typed password from the response can sign too, and a refusal is never signed.
#pragma once

#include <string>

#include "tolk/ntlm/ntlm_ssp.h"
#include "tolk/ntlm/smb_user.h"

namespace tolk {

/// One relayed logon: init(), getChallenge(), authenticate(), requireProof(). It never sees the
/// password. Failures to talk are TOLKException with the server's name and the step.
class ADNTLM {
 public:
  /// `domain` is a DNS or NetBIOS name. `server` is the name or address of the controller to ask (a
  /// ":port" behind it, meant for other protocols, is dropped); when it is empty, one of `domain`
  /// is looked for, which by its NetBIOS name is possible for the domain that this host is joined
  /// to.
  ADNTLM(const std::string& user, const std::string& domain, const std::string& server = {});

  /// Finds the controller (NetworkState::getDCForDomain), opens the SMB session with it and sends
  /// the client's first message. Throws TOLKException also when the controller is of another domain
  /// than `domain`, or the user (DOMAIN\name) is.
  void init(const std::string& type1);

  /// The controller's challenge message, well-formed.
  [[nodiscard]] const std::string& getChallenge() const noexcept { return challenge_; }

  /// Sends the client's third message. 0 when the controller accepts it, else the NT status with
  /// which it refuses, for WinErrToString(). `out` becomes what came along with a success. That is
  /// the server's word until requireProof() has held.
  int authenticate(const std::string& type3, std::string& out);

  /// Throws TOLKException unless the acceptance is signed with the client's session key.
  void requireProof(const NtlmKey& sessionKey) const;

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
