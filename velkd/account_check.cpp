// The same rules, so that the daemon and joincheck never say different things.
#include "velkd/account_check.h"

#include <ctime>

#include "check/judgement.h"
#include "facts/facts.h"
#include "facts/machine_login.h"
#include "tolk/base/text.h"

namespace velkd {
namespace {

namespace check = joinscope::check;
namespace facts = joinscope::facts;

// Whether the account is there and enabled is a state of its own (ObjectState).
const check::Selection kJudged{.only = {"keytab.", "account.expired", "account.locked"},
                               .skip = {"keytab.keys"}};

facts::Facts factsOf(const tolk::ADObject& computer, const std::string& principal) {
  facts::Facts known;
  known.host.root = true;
  known.host.now = std::time(nullptr);
  const std::size_t at = principal.rfind("$@");
  if (at != std::string::npos) {
    known.join.account = principal.substr(0, at);
    known.join.domain = tolk::toLower(principal.substr(at + 2));
  }
  known.keytab = facts::readKeytab();
  known.kerberos.account = facts::accountToShow(known);
  known.kerberos.keys = facts::keysToShow(known, known.kerberos.account);
  known.directory.account.read.outcome = facts::Outcome::answered;
  facts::takeAccount(computer, known.directory.account);
  return known;
}

}  // namespace

const std::vector<std::string>& lookedAt() {
  static const std::vector<std::string> kNames = [] {
    std::vector<std::string> names;
    for (const char* const* name = facts::kAccountAttributes; *name != nullptr; ++name) {
      names.emplace_back(*name);
    }
    return names;
  }();
  return kNames;
}

std::vector<std::string> accountProblems(const tolk::ADObject& computer,
                                         const std::string& principal) {
  const facts::Facts known = factsOf(computer, principal);
  const std::string& name = known.directory.account.name;
  std::vector<std::string> problems;
  if (!name.empty() && !tolk::equalsIgnoringCase(name, known.join.account + "$")) {
    return {"The recorded security identifier (kset.hostsid) is that of " + name +
            ", and this host is joined as " + principal + ". Run velkd adopt."};
  }
  const check::Judgement judgement = check::judge(known, kJudged);
  for (const check::Finding* cause : judgement.firstCauses()) {
    const std::vector<std::string>& next = cause->verdict.next;
    problems.push_back(cause->verdict.text + (next.empty() ? "" : " Remedy: " + next.front()));
  }
  return problems;
}

}  // namespace velkd
