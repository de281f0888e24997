// Multi-factor authentication by version 0 of the REST interface: a password, then at most one more
// mechanism.
#pragma once

#include "cloud/signon/cloud_auth.h"

namespace tolk {

class CloudAuthV0 final : public CloudAuth {
 public:
  using CloudAuth::CloudAuth;

  [[nodiscard]] MfaPolicy startAuthentication(const std::string& user) override;
  /// A refused answer throws CloudException, as a failed request does.
  [[nodiscard]] int advanceAuthentication(const std::string& action, const MfaMechanism& mechanism,
                                          const Shredder& answer) override;
  [[nodiscard]] std::string getAnswerPrompt(const MfaMechanism& mechanism) const override;

 private:
  void readPolicy();
  void readMechanism(const json::Value& entry, MfaChallenge& required,
                     MfaChallenge& optional) const;
  [[nodiscard]] int sendPassword(const Shredder& password);
  [[nodiscard]] int startOrPoll(const MfaMechanism& mechanism, bool poll);
  [[nodiscard]] int sendAnswer(const MfaMechanism& mechanism, const Shredder& answer);
  [[nodiscard]] int afterStep();

  std::string user_;
  std::string recordId_;  // "recId", echoed in each request
  std::size_t step_ = 0;  // the challenge at hand
};

}  // namespace tolk
