// Other programs on this host that use the same join: Samba's own copy of the password, SSSD,
// winbind.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "check/rule.h"
#include "check/rules/account_words.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

using facts::Facts;

/// Whether the password of the account, or of the keytab, was set after the one in secrets.tdb. The
/// keytab was dated by the same clock; the directory's clock may be another by what Kerberos
/// allows.
bool secretsAreBehind(std::int64_t secrets, std::int64_t keytab, std::int64_t account) {
  constexpr std::int64_t kSkew = 300;         // RFC 4120, 1.6
  constexpr std::int64_t kWhileWriting = 10;  // one tool writes both
  if (account == 0) return keytab > secrets + kSkew;
  if (account > secrets + kSkew) return true;
  const bool ofTheKeytab = std::abs(account - keytab) < std::abs(account - secrets);
  return keytab > secrets + kWhileWriting && ofTheKeytab;
}

Verdict judgeSecrets(const Facts& facts) {
  const facts::Join& join = facts.join;
  if (!join.secrets.asked()) return notMeant("Samba is not joined on this host.");
  if (!join.secrets.answered()) {
    return unknown(facts.host.root ? "secrets.tdb: " + join.secrets.reason
                                   : "Needs root: secrets.tdb is root's alone.");
  }
  if (join.secretsChanged == 0) return notMeant("secrets.tdb holds no machine password.");
  const std::int64_t account = facts.directory.account.passwordSet;
  const std::int64_t keytab = newestKey(facts);
  if (account == 0 && keytab == 0) return unknown("There is nothing to compare secrets.tdb with.");
  if (!secretsAreBehind(join.secretsChanged, keytab, account)) return fine();
  return broken("Samba's secrets.tdb has the machine password of " + utcText(join.secretsChanged) +
                    ", but " +
                    (account != 0 ? "the account's was set " + utcText(account)
                                  : "the keytab's newest key was written " + utcText(keytab)) +
                    ": winbind and smbd cannot log in, whatever the keytab holds.",
                {"net ads join -U Administrator",
                 "From then on let one tool change the password: net ads changetrustpw, or adcli "
                 "update --add-samba-data."});
}

Verdict judgeAgent(const Facts& facts, std::string_view name, const char* restart) {
  const auto agent = std::ranges::find(facts.join.agents, name, &facts::OtherAgent::name);
  if (agent == facts.join.agents.end()) {
    return notMeant(std::string(name) + " is not configured for a domain here.");
  }
  if (!tolk::equalsIgnoringCase(agent->domain, facts.join.domain)) {
    return warning(agent->name + " is configured for " + agent->domain + ", this host is in " +
                   facts.join.domain + ".");
  }
  if (!agent->running) {
    return warning(agent->name + " is configured for " + agent->domain + " but does not run.",
                   {restart});
  }
  if (!agent->state.answered()) {
    return agent->state.outcome == facts::Outcome::silent
               ? warning(agent->name + ": " + agent->state.reason + ".", {restart})
               : unknown(agent->name + ": " + agent->state.reason);
  }
  if (agent->online) return fine();
  return warning(agent->name + " says that it is offline: " + agent->answer, {restart});
}

/// Whether the domain has none of the controllers that the agent is tied to.
bool isTiedToStrangers(const Facts& facts, const facts::OtherAgent& agent) {
  const auto known = [&facts](const std::string& name) {
    if (name == "_srv_") return true;  // sssd-ad(5): those in DNS
    return std::ranges::any_of(facts.network.controllers, [&name](const auto& controller) {
      return tolk::equalsIgnoringCase(controller.name, name);
    });
  };
  return !facts.network.controllers.empty() && !agent.controllers.empty() &&
         std::ranges::none_of(agent.controllers, known);
}

Verdict judgeSssd(const Facts& facts) {
  const auto sssd = std::ranges::find(facts.join.agents, "sssd", &facts::OtherAgent::name);
  if (sssd != facts.join.agents.end() && !sssd->online && isTiedToStrangers(facts, *sssd)) {
    return warning("sssd is offline: ad_server of /etc/sssd/sssd.conf ties it to " +
                       sssd->controllers.front() + ", and DNS names no such controller.",
                   {"sed -i '/^ *ad_server *=/d' /etc/sssd/sssd.conf; systemctl restart sssd"});
  }
  return judgeAgent(facts, "sssd", "systemctl restart sssd");
}

Verdict judgeWinbind(const Facts& facts) {
  return judgeAgent(facts, "winbind", "systemctl restart winbind");
}

constexpr Rule kRules[] = {
    {.id = "join.secrets",
     .title = "Samba's copy of the machine password is the account's",
     .needs = "",
     .judge = judgeSecrets,
     .looksAt = "When the password in secrets.tdb was set, and the account's in the directory.",
     .wrong = "Another tool has changed the machine password and told the keytab alone.",
     .remedy = "net ads join, and one tool that changes the password from then on.",
     .source = "adcli(8), --add-samba-data"},
    {.id = "join.sssd",
     .title = "SSSD is online",
     .needs = "resolver.answers dns.ldap dc.ldap dc.kdc krb.login krb.host-way",
     .judge = judgeSssd,
     .looksAt = "sssd.conf with its ad_server, and what sssctl says of the domain.",
     .wrong = "Offline although the directory can be reached: it waits before it tries again.",
     .remedy = "systemctl restart sssd",
     .source = "sssctl(8), domain-status"},
    {.id = "join.winbind",
     .title = "winbind reaches its controller",
     .needs = "resolver.answers dns.ldap dc.smb join.secrets",
     .judge = judgeWinbind,
     .looksAt = "smb.conf, and wbinfo --ping-dc.",
     .wrong = "It has no connection to a controller.",
     .remedy = "systemctl restart winbind",
     .source = "wbinfo(1)"},
};

}  // namespace

std::span<const Rule> otherAgentRules() {
  return kRules;
}

}  // namespace joinscope::check
