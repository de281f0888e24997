// How a question that was put to somebody ended.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace joinscope::facts {

enum class Outcome {
  notAsked,  ///< `reason` says why
  answered,
  refused,  ///< somebody answered with a refusal
  silent,   ///< nobody answered within a limit
  failed,   ///< asking itself failed: no way there, no permission, damaged data
};

/// A fact is a value, or one of these that says who did not give it and why.
struct Asked {
  Outcome outcome = Outcome::notAsked;
  std::string reason;     ///< the words of who refused, or of the library; "" when answered
  std::int64_t code = 0;  ///< in the numbering of who refused: errno, Kerberos, LDAP, DNS
  double seconds = 0;     ///< until it ended

  [[nodiscard]] bool answered() const { return outcome == Outcome::answered; }
  [[nodiscard]] bool asked() const { return outcome != Outcome::notAsked; }

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("outcome", self.outcome);
    visit("reason", self.reason);
    visit("code", self.code);
    visit("seconds", self.seconds);
  }
};

/// Each Outcome's name in a facts file, by its number.
inline constexpr const char* kOutcomeNames[] = {"not asked", "answered", "refused", "silent",
                                                "failed"};

/// Runs `question`, which throws when it has no answer, and tells how that ended: silent for a
/// limit that ended a wait, refused for what a server answered (Kerberos and LDAP errors of the
/// peer, a closed port), failed for anything else of the tolk family.
Asked ask(const std::function<void()>& question);

}  // namespace joinscope::facts
