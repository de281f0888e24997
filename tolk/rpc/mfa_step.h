// A multi-factor authentication as it stands between two calls to the daemon.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tolk/base/json.h"

namespace tolk {

/// One way for the user to answer.
struct MfaChoice {
  std::string id;          ///< names it in the next call
  std::string name;        ///< "UP", "OTP", "SQ" ...
  std::string text;        ///< what a list of choices shows
  std::string prompt;      ///< what the user is asked once it is chosen
  bool outOfBand = false;  ///< is started first; the platform then waits for the user
  bool takesText = false;  ///< can be answered by text
};

/// Where it stands.
struct MfaStep {
  std::string session;  ///< for the next call; "" when it is over
  int summary = 0;  ///< 0 failed, 1 authenticated, 2 the next challenge, 3 pending, 4 other ones
  std::string challenge;           ///< its name
  std::vector<MfaChoice> choices;  ///< of the challenge at hand
};

/// The longest wait for one call of it: so many transfers of the daemon, each within
/// PN::CLOUD_CURL_TIMEOUT.
[[nodiscard]] std::chrono::milliseconds mfaCallLimit();

/// The step as parameters of an answer on the daemon channel, and back. Reading throws
/// BadDataException.
[[nodiscard]] json::Document mfaStepToJson(const MfaStep& step);
[[nodiscard]] MfaStep mfaStepFromJson(const json::Value& parameters);

}  // namespace tolk
