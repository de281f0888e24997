// Multi-factor authentication by version 1.0S of the REST interface: the machine signs on first,
// and speaks for the user.
#pragma once

#include <string>

#include "cloud/signon/cloud_auth_v1.h"

namespace tolk {

class CloudAuthV1S final : public CloudAuthV1 {
 public:
  /// The way has the site check of the machine.
  using CloudAuthV1::CloudAuthV1;

  /// Signs the machine on, then takes the user's place and calls the endpoint of what the user
  /// wants to do; that says whether, and with which challenge, the user is to be asked. Throws
  /// CloudIwaException when the machine cannot sign on.
  [[nodiscard]] MfaPolicy startAuthentication(const std::string& user) override;
  /// After the last answer the endpoint is called once more, and may ask again (newPolicy).
  [[nodiscard]] int advanceAuthentication(const std::string& action, const MfaMechanism& mechanism,
                                          const Shredder& answer) override;

 private:
  /// The endpoint's word.
  struct Verdict {
    bool success = false;
    long status = 0;
    std::string errorId, challengeId, reason;
  };

  void getMachineAuthToken();
  void siteCheck();
  void sso();
  void startImpersonate();
  bool tryImpersonate();
  void startChallenge(const std::string& challengeId);
  [[nodiscard]] Verdict startMfa();
  [[nodiscard]] Verdict callEndpoint();
  [[nodiscard]] Verdict startMfaFresh();
  [[nodiscard]] bool isCommand() const { return !request().command.empty(); }
  [[noreturn]] void throwMissingProfile() const;
  [[noreturn]] void throwChallengeFailed() const;

  std::string user_;
  std::string uuid_;  // of this authentication
  std::string machineCookie_;
  std::string userCookie_;
  std::string challengeStateId_;
  std::string oneTimeCode_;
};

}  // namespace tolk
