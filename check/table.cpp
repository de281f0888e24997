// The order of the groups is the order in which things rest on one another.
#include "check/rule.h"

namespace joinscope::check {

const std::vector<const Rule*>& allRules() {
  static const std::vector<const Rule*> kRules = [] {
    std::vector<const Rule*> rules;
    for (const std::span<const Rule> group : {
             hostRules(),     joinRules(),       resolverRules(),    dnsRules(),
             dnsNameRules(),  controllerRules(), portRules(),        timeRules(),
             kerberosRules(), keytabRules(),     accountRules(),     keyRules(),
             loginRules(),    directoryRules(),  accountNameRules(), siteRules(),
             joiningRules(),  otherAgentRules(), agentRules(),       platformRules(),
         }) {
      for (const Rule& rule : group) rules.push_back(&rule);
    }
    return rules;
  }();
  return kRules;
}

}  // namespace joinscope::check
