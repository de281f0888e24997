// The names by which others find this host's account, and whether somebody else has them too.
#include <algorithm>
#include <string>

#include "check/rule.h"
#include "check/rules/account_words.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

using facts::Account;
using facts::Facts;

/// The full name under which this host is joined; "" when nobody tells it.
std::string fullName(const Facts& facts) {
  if (!facts.join.joinedHost.empty()) return facts.join.joinedHost;
  const std::string& name = facts.host.name;
  if (name.find('.') != std::string::npos) return name;
  return facts.directory.account.dnsHostName;
}

std::string shortName(const Facts& facts) {
  const std::string& name = facts.directory.account.name;
  return name.substr(0, name.rfind('$'));
}

bool hasSpn(const Account& account, const std::string& spn) {
  return std::ranges::any_of(
      account.spns, [&spn](const std::string& own) { return tolk::equalsIgnoringCase(own, spn); });
}

Verdict judgeSpns(const Facts& facts) {
  const Account& account = facts.directory.account;
  if (!account.read.answered()) return withoutAccount(facts);
  std::string missing;
  std::string command = "adcli update";
  for (const std::string& name : {fullName(facts), shortName(facts)}) {
    if (name.empty() || hasSpn(account, "host/" + name)) continue;
    missing += (missing.empty() ? "" : " and ") + std::string("host/") + name;
    command += " --add-service-principal=host/" + name;
  }
  if (missing.empty()) return fine();
  return broken("The account lacks the service principal name " + missing +
                    ": the domain gives nobody a ticket for this host by it, ssh and NFS say "
                    "\"Server not found in Kerberos database\".",
                {command});
}

/// The value of the first component: "CN=APP1,CN=Computers" to "APP1".
std::string nameIn(const std::string& dn) {
  const std::string first = dn.substr(0, dn.find(','));
  return first.substr(first.find('=') + 1);
}

Verdict judgeDuplicates(const Facts& facts) {
  const Account& account = facts.directory.account;
  if (!account.read.answered()) return withoutAccount(facts);
  if (!account.claims.answered()) {
    return unknown("Who else has its names was not found out: " + account.claims.reason);
  }
  if (account.claimants.empty()) return fine();
  const std::string& other = account.claimants.front();
  const std::string more = account.claimants.size() > 1
                               ? " and " + std::to_string(account.claimants.size() - 1) + " more"
                               : "";
  return broken(other + more +
                    " has a service principal name host/ of this host as well: the domain does "
                    "not know whose ticket to give and gives none.",
                {"samba-tool spn delete host/" + fullName(facts) + " '" + nameIn(other) + "$'",
                 "or setspn -D host/" + fullName(facts) + " " + nameIn(other) +
                     ", at the directory; a clone of this host joins with a name of its own."});
}

Verdict judgeDnsName(const Facts& facts) {
  const Account& account = facts.directory.account;
  if (!account.read.answered()) return withoutAccount(facts);
  const std::string name = fullName(facts);
  if (tolk::equalsIgnoringCase(account.dnsHostName, name)) return fine(account.dnsHostName);
  const std::string theirs =
      account.dnsHostName.empty() ? "no dNSHostName" : "the dNSHostName " + account.dnsHostName;
  return warning("The account has " + theirs + ", this host is " + name +
                     ": what finds hosts by the directory finds another or none.",
                 {"adcli update --host-fqdn=" + name});
}

constexpr Rule kRules[] = {
    {.id = "account.spns",
     .title = "The account has this host's names",
     .needs = "ldap.own-object",
     .judge = judgeSpns,
     .looksAt = "servicePrincipalName of the account: host/ with the full and the short name.",
     .wrong = "\"Server not found in Kerberos database\" at ssh to this host.",
     .remedy = "Add the missing names.",
     .source = "MS-ADTS 3.1.1.5.3.1.1.4; RFC 4120, 6.2.1"},
    {.id = "account.duplicates",
     .title = "Nobody else has this host's names",
     .needs = "ldap.own-object",
     .judge = judgeDuplicates,
     .looksAt = "All enabled objects of the forest, without a catalog of the domain, that hold one "
                "of the account's host/ names.",
     .wrong = "Two objects with one name, as after cloning: the domain gives no ticket for it.",
     .remedy = "Take the name from the other object.",
     .source = "MS-ADTS 3.1.1.5.1.3"},
    {.id = "account.dns-name",
     .title = "The account has this host's DNS name",
     .needs = "ldap.own-object",
     .judge = judgeDnsName,
     .looksAt = "dNSHostName and the full name that this host was joined as.",
     .wrong = "They differ after renaming, or where two hosts share an account.",
     .remedy = "Correct dNSHostName.",
     .source = "MS-ADTS 3.1.1.5.3.1.1.2"},
};

}  // namespace

std::span<const Rule> accountNameRules() {
  return kRules;
}

}  // namespace joinscope::check
