// What the platform asks of a user who is to be authenticated.
#pragma once

#include <string>
#include <vector>

#include "tolk/base/json.h"

namespace tolk {

/// One way for a user to answer; the members of the platform's answer, "" where it has none.
struct MfaMechanism {
  std::string id;    ///< "MechanismId"
  std::string name;  ///< "UP", "OTP", "SQ", "EMAIL", "SMS", "PF" ... (cloud_object.h)
  std::string answerType;
  std::string promptSelectMech;
  std::string promptMechChosen;
  std::string partialAddress;
  std::string partialDeviceAddress;
  std::string partialPhoneNumber;
  std::string question;
  std::string phoneType;
  std::string emailType;
  std::string customClientInfo;
};

/// The user answers by one of the mechanisms.
struct MfaChallenge {
  std::string name;  ///< "Challenge_0" ...
  std::vector<MfaMechanism> mechanisms;
};

/// The challenges in their order; none when the user need not be asked.
struct MfaPolicy {
  std::string sessionId;
  std::string tenantId;
  std::vector<MfaChallenge> challenges;
};

/// What came of a step.
struct MfaSummary {
  static constexpr int failed = 0;
  static constexpr int authenticated = 1;
  static constexpr int nextChallenge = 2;
  static constexpr int pending = 3;    ///< the answer comes another way: ask again
  static constexpr int newPolicy = 4;  ///< challenges() has others now
};

/// Whether the mechanism is started by the platform, which then waits for the user.
[[nodiscard]] bool isOutOfBand(const MfaMechanism& mechanism);
/// Whether the user can answer an out-of-band mechanism by text as well.
[[nodiscard]] bool takesText(const MfaMechanism& mechanism);

/// Reads the policy of version 1 from the member "Result" of an answer. Throws CloudException.
[[nodiscard]] MfaPolicy readPolicyV1(const json::Value& result);

/// The text that names a mechanism in a list; "" for one that is not known.
[[nodiscard]] std::string selectText(const MfaMechanism& mechanism);
/// What to ask the user of a mechanism of version 1.
[[nodiscard]] std::string answerPrompt(const MfaMechanism& mechanism);

}  // namespace tolk
