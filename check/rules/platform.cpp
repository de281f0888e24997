// The cloud platform, where the agent uses one.
#include <string>

#include "check/rule.h"

namespace joinscope::check {
namespace {

using facts::Facts;

constexpr std::int64_t kNone = 0;
constexpr std::int64_t kNotConnected = 3;

Verdict judgeReached(const Facts& facts) {
  const facts::Platform& platform = facts.platform;
  if (!facts.agent.installed) return notMeant("The agent is not installed on this host.");
  if (!platform.asked.asked()) return unknown("The agent daemon was not asked.");
  if (!platform.asked.answered()) return unknown("It did not tell: " + platform.asked.reason);
  if (platform.state == kNone) return notMeant("No cloud platform is configured.");
  if (platform.state != kNotConnected) return fine(platform.url);
  return broken("The agent daemon does not reach its cloud platform " + platform.url +
                    ": second factors cannot be asked for.",
                {"joinscope -y orb", "says which way was tried and why it failed."});
}

constexpr Rule kRules[] = {
    {.id = "platform.reached",
     .title = "The cloud platform is reached",
     .needs = "agent.running",
     .judge = judgeReached,
     .looksAt = "The daemon's own connection to the platform that orvald.conf names.",
     .wrong = "No way there, a certificate that does not hold, a proxy that refuses.",
     .remedy = "joinscope -y orb",
     .source = "orvald.conf(5), keys cloud.*"},
};

}  // namespace

std::span<const Rule> platformRules() {
  return kRules;
}

}  // namespace joinscope::check
