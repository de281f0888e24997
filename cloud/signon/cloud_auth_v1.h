// Multi-factor authentication by version 1.0 of the REST interface.
#pragma once

#include "cloud/signon/cloud_auth.h"

namespace tolk {

class CloudAuthV1 : public CloudAuth {
 public:
  using CloudAuth::CloudAuth;

  /// Asks for the user's policy; where the platform says that the user's instance is on another
  /// host, there.
  [[nodiscard]] MfaPolicy startAuthentication(const std::string& user) override;
  [[nodiscard]] int advanceAuthentication(const std::string& action, const MfaMechanism& mechanism,
                                          const Shredder& answer) override;
};

}  // namespace tolk
