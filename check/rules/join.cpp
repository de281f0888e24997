// The join as the agent keeps it, and whether others on this host mean the same one.
#include <string>

#include "check/rule.h"
#include "check/rules/account_words.h"

namespace joinscope::check {
namespace {

using facts::Facts;

Verdict judgeDomain(const Facts& facts) {
  const facts::Join& join = facts.join;
  if (join.domain.empty()) {
    return broken("This host is in no domain: no join settings, no computer account's key in " +
                      facts.keytab.path + ", no default_realm.",
                  {"joincheck --join DOMAIN", "says what is missing to join it."});
  }
  return fine("Domain " + join.domain + ", by " + join.namedBy);
}

Verdict judgeSettings(const Facts& facts) {
  const facts::Join& join = facts.join;
  if (!facts.agent.installed) return notMeant("The agent is not installed on this host.");
  if (!join.settings.answered()) {
    return broken("The join settings cannot be read: " + join.settings.reason,
                  {"ls -l /var/orvald"});
  }
  if (!join.damage.empty()) {
    return broken("The join settings are not whole: " + join.damage.front(),
                  {"velkd adopt", "writes them anew from the keytab and the directory."});
  }
  if (join.joinedDomain.empty()) {
    return warning("The agent is installed, but has no join settings.", {"velkd adopt"});
  }
  return fine("Joined to " + join.joinedDomain + " as " + join.joinedHost);
}

Verdict judgeSid(const Facts& facts) {
  if (facts.join.domainSid.empty()) return notMeant("The join settings record no identifier.");
  if (facts.directory.domainSid.empty()) return unknown(notAskedText(facts.directory.bind));
  if (facts.join.domainSid == facts.directory.domainSid) return fine();
  return broken("The join settings record the domain " + facts.join.domainSid + ", but " +
                    facts.join.domain + " is " + facts.directory.domainSid +
                    ": another domain, or one that was made anew, has this name.",
                {"join again."});
}

constexpr Rule kRules[] = {
    {.id = "join.domain",
     .title = "This host names a domain",
     .needs = "",
     .judge = judgeDomain,
     .looksAt = "The join settings, the accounts in the keytab, default_realm of krb5.conf.",
     .wrong = "None names a domain: there is nothing to check.",
     .remedy = "Join the host.",
     .source = "adcli(8)"},
    {.id = "join.settings",
     .title = "The agent's join settings are whole",
     .needs = "join.domain",
     .judge = judgeSettings,
     .looksAt = "The files kset.* below /var/orvald.",
     .wrong = "Missing, unreadable, or cut in the middle of a write.",
     .remedy = "velkd adopt",
     .source = "velkd(8)"},
    {.id = "join.sid",
     .title = "The join is of the domain that answers",
     .needs = "join.domain ldap.bind",
     .judge = judgeSid,
     .looksAt = "The domain's security identifier in the join settings and in the directory.",
     .wrong = "They differ: the domain was set up anew under its old name.",
     .remedy = "Join again.",
     .source = "MS-DTYP 2.4.2"},
};

}  // namespace

std::span<const Rule> joinRules() {
  return kRules;
}

}  // namespace joinscope::check
