// The client side of an NTLM exchange, version 2 (MS-NLMP 3.1.5).
#pragma once

#include <string>

#include "tolk/base/shredder.h"
#include "tolk/ntlm/ntlm_challenge.h"

namespace tolk {

/// One exchange: getMsgType1(), setMsgType2() with what the server answers, getMsgType3(). Keeps
/// its own copy of the password, in locked memory, until the third message is made.
class NtlmSSP {
 public:
  /// `user` is a plain name of `domain`, DOMAIN\user or a user principal name, in UTF-8. With an
  /// empty `domain` a plain name is one of the domain that the challenge names. `flags` are those
  /// of the first message (MS-NLMP 2.2.2.5). `version` is that of the response: 2, for others
  /// TOLKException is thrown. The last argument is reserved, pass false.
  NtlmSSP(const std::string& domain, const std::string& workstation, const std::string& user,
          const Shredder& password, unsigned flags, unsigned version, bool reserved);

  /// The negotiate message.
  [[nodiscard]] std::string getMsgType1() const { return negotiate_; }

  /// Takes the server's challenge message. Throws TOLKException when it is malformed.
  void setMsgType2(const std::string& message);

  /// What that message says.
  [[nodiscard]] const NtlmChallenge& challenge() const noexcept { return challenge_; }

  /// The authenticate message: NTLMv2 response, an exchanged session key where both sides want one,
  /// and an integrity code over all three messages. Its flags are those of the first message that
  /// the server has confirmed. Wipes the password, so once only. Throws TOLKException when the
  /// password or a name is not UTF-8 or too long.
  std::string getMsgType3();

  /// The key that both sides have in common once the server has accepted that message (MS-NLMP
  /// 3.1.5.1.2: ExportedSessionKey); zero before it.
  [[nodiscard]] const NtlmKey& sessionKey() const noexcept { return sessionKey_; }

 private:
  [[nodiscard]] std::string makeMsgType3();
  [[nodiscard]] const std::string& accountDomain() const noexcept;

  std::string domain_;
  std::string workstation_;
  std::string user_;
  Shredder password_;
  unsigned flags_;
  std::string negotiate_;
  std::string challengeMessage_;
  NtlmChallenge challenge_;
  NtlmKey sessionKey_;
};

}  // namespace tolk
