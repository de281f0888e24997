// What a join would meet (--join): a name that is free, a user who may use it.
#include <string>

#include "check/rule.h"
#include "check/rules/account_words.h"

namespace joinscope::check {
namespace {

using facts::Facts;
using facts::Joining;

const char kJoined[] = "For hosts that are to be joined (--join).";
const char kNeedsUser[] = "Needs somebody who may ask the directory (-u USER).";

Verdict judgeNameLength(const Facts& facts) {
  if (!facts.run.joining) return notMeant(kJoined);
  constexpr std::size_t kLongest = 15;
  const std::string label = facts.host.name.substr(0, facts.host.name.find('.'));
  if (label.size() <= kLongest) return fine(label);
  return broken("The host name " + label + " has " + std::to_string(label.size()) +
                    " characters; a computer account has at most 15 (NetBIOS).",
                {"hostnamectl set-hostname NAME", "or adcli join --computer-name=NAME."});
}

Verdict judgeNameFree(const Facts& facts) {
  if (!facts.run.joining) return notMeant(kJoined);
  const Joining& joining = facts.directory.joining;
  if (!joining.names.asked()) return unknown(kNeedsUser);
  if (!joining.names.answered()) return unknown("Not found out: " + joining.names.reason);
  if (joining.taken.empty()) return fine(joining.account + " is free");
  const std::string text = "The name " + joining.account + " is taken by " + joining.taken;
  if (!joining.takenWritable) {
    return broken(text + ", which " + facts.kerberos.user + " may not change.",
                  {"adcli join --computer-name=NAME " + facts.join.domain,
                   "or let that account be deleted, if its host is gone."});
  }
  return warning(text + ": joining takes it over, and a host that uses it is thrown out.",
                 {"adcli join --computer-name=NAME " + facts.join.domain, "unless that is meant."});
}

Verdict judgeRights(const Facts& facts) {
  if (!facts.run.joining) return notMeant(kJoined);
  const Joining& joining = facts.directory.joining;
  const facts::Policy& policy = facts.directory.policy;
  if (!joining.rights.asked()) return unknown(kNeedsUser);
  if (!joining.rights.answered()) return unknown("Not found out: " + joining.rights.reason);
  const std::string& user = facts.kerberos.user;
  if (joining.mayCreate) return fine(user + " may create computers in " + policy.computers);
  if (!joining.taken.empty() && joining.takenWritable) {
    return fine(user + " may use the account that is there");
  }
  const std::string used =
      std::to_string(joining.created) + " of " + std::to_string(policy.machineQuota) + " computers";
  const std::string text = user + " has no right to create computers in " + policy.computers;
  const std::vector<std::string> next{
      "adcli preset-computer --domain=" + facts.join.domain + " " + joining.account,
      "by an administrator makes the account; or let " + user +
          " be given the right to create computers there."};
  if (policy.machineQuota < 0) return unknown(text + "; the quota is not told.");
  if (joining.created >= policy.machineQuota) {
    return broken(text + ", and the quota for everybody is used up: " + used +
                      " (ms-DS-MachineAccountQuota).",
                  next);
  }
  return warning(text + ", but may join by the quota for everybody: " + used +
                     " used. Not every directory server honours it.",
                 next);
}

constexpr Rule kRules[] = {
    {.id = "joining.name",
     .title = "The host name is short enough for an account",
     .needs = "",
     .judge = judgeNameLength,
     .looksAt = "The first label of the host name.",
     .wrong = "Over 15 characters: the join fails, or cuts the name to one that another host has.",
     .remedy = "Rename the host, or choose the account's name.",
     .source = "MS-ADTS 3.1.1.4.5"},
    {.id = "joining.name-free",
     .title = "The account's name is free",
     .needs = "krb.user ldap.bind",
     .judge = judgeNameFree,
     .looksAt = "Objects with the sAMAccountName that the join would give, and whether the user "
                "may change such a one (allowedAttributesEffective).",
     .wrong = "Another host has it, or the remains of one.",
     .remedy = "Choose another name, or let the old account be deleted.",
     .source = "MS-ADTS 3.1.1.4.5.21"},
    {.id = "joining.rights",
     .title = "The user may join the host",
     .needs = "krb.user ldap.bind",
     .judge = judgeRights,
     .looksAt = "allowedChildClassesEffective of the container for computers, "
                "ms-DS-MachineAccountQuota, and how many computers the user has made by it.",
     .wrong = "\"Insufficient permissions to modify computer account\".",
     .remedy = "Let an administrator make the account, or give the right.",
     .source = "MS-ADTS 3.1.1.5.2.2"},
};

}  // namespace

std::span<const Rule> joiningRules() {
  return kRules;
}

}  // namespace joinscope::check
