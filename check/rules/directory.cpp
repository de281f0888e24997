// The directory: bound to, read, and the forest behind it.
#include <string>

#include "check/rule.h"
#include "check/rules/account_words.h"
#include "check/rules/network_words.h"

namespace joinscope::check {
namespace {

using facts::Asked;
using facts::Directory;
using facts::Facts;

constexpr std::int64_t kStrongerAuthRequired = 8;  // RFC 4511, 4.1.9
constexpr std::int64_t kConfidentialityRequired = 13;

bool wantsSecurity(const Asked& bind) {
  return bind.outcome == facts::Outcome::refused &&
         (bind.code == kStrongerAuthRequired || bind.code == kConfidentialityRequired);
}

Verdict judgeSigning(const Facts& facts) {
  const Directory& directory = facts.directory;
  if (wantsSecurity(directory.bind)) {
    return evident(
        broken("The controller refuses a bind without signing or TLS: " + directory.bind.reason,
               {"allow signing again (SASL_SECPROPS, maxssf) on this host."}));
  }
  if (wantsSecurity(directory.plainBind)) {
    return evident(
        broken(directory.saslFile + " forbids programs to sign (SASL_SECPROPS " +
                   directory.saslProperties +
                   "), and the controller requires it: ldapsearch and others end with \"Strong(er) "
                   "authentication required (" +
                   std::to_string(directory.plainBind.code) + ")\".",
               {"sed -i '/^SASL_SECPROPS/d' " + directory.saslFile}));
  }
  if (directory.bind.answered()) return fine("Signed and sealed: what controllers may require");
  return unknown(notAskedText(directory.bind));
}

Verdict judgeBind(const Facts& facts) {
  const Directory& directory = facts.directory;
  const Asked& bind = directory.bind;
  if (bind.answered()) return fine(directory.boundAs + " at " + directory.server);
  if (!bind.asked()) return unknown(notAskedText(bind));
  const std::string serving = servingController(facts);
  const std::string& server = serving.empty() ? facts.join.domain : serving;
  if (bind.outcome != facts::Outcome::refused) {
    return broken("No controller answers " + directory.boundAs + " by LDAP: " + bind.reason,
                  {"nc -vz " + server + " 389"});
  }
  return broken("The controller does not let " + directory.boundAs +
                    " in by LDAP, though it has a ticket: " + bind.reason,
                {"ldapsearch -Y GSSAPI -H ldap://" + server + " -s base -b ''"});
}

Verdict judgeOwnObject(const Facts& facts) {
  const facts::Account& account = facts.directory.account;
  if (facts.run.joining) return notMeant("This host is to be joined.");
  if (account.read.answered()) return fine(account.dn);
  if (!account.read.asked()) return unknown(notAskedText(facts.directory.bind));
  return broken("The directory does not show this host its own object: " + account.read.reason,
                {"samba-tool dsacl get --objectdn=DN", "shows who may read it."});
}

Verdict judgeCatalog(const Facts& facts) {
  const Asked& catalog = facts.directory.catalog;
  if (catalog.answered()) return fine(facts.directory.catalogServer);
  if (!catalog.asked()) return unknown(notAskedText(facts.directory.bind));
  return broken(
      "No global catalog lets " + facts.directory.boundAs + " in: " + catalog.reason +
          ". Logins with names of other domains and universal groups fail.",
      {"nc -vz " + facts.directory.server.substr(0, facts.directory.server.find(':')) + " 3268"});
}

Verdict judgeTrusts(const Facts& facts) {
  const Directory& directory = facts.directory;
  if (!directory.trusts.asked()) return unknown(notAskedText(directory.bind));
  if (!directory.trusts.answered()) {
    return warning("The trusted domains cannot be read: " + directory.trusts.reason);
  }
  std::string names;
  for (const std::string& name : directory.trustedDomains) {
    names += (names.empty() ? "" : ", ") + name;
  }
  return fine(names.empty() ? "The domain trusts no other" : "Trusted: " + names);
}

constexpr Rule kRules[] = {
    {.id = "ldap.signing",
     .title = "The bind is as safe as the controller requires",
     .needs = "",
     .judge = judgeSigning,
     .looksAt = "What the controller says to the bind: strongerAuthRequired (8), "
                "confidentialityRequired (13); where ldap.conf(5) forbids signing, also to a bind "
                "without.",
     .wrong = "\"Strong(er) authentication required\".",
     .remedy = "Bind with signing and sealing, or by TLS.",
     .source = "RFC 4511, 4.1.9; MS-ADTS 5.1.1.1"},
    {.id = "ldap.bind",
     .title = "The directory lets this host in",
     .needs = "krb.login krb.enctypes krb.user ldap.signing time.offset dc.ldap",
     .judge = judgeBind,
     .looksAt =
         "A bind by SASL GSSAPI with the computer account's ticket, signed and sealed; where "
         "there is none, with the user's.",
     .wrong = "Refused or silent, although the KDC has given a ticket.",
     .remedy = "See what the controller says.",
     .source = "RFC 4752; MS-ADTS 5.1.1"},
    {.id = "ldap.own-object",
     .title = "This host can read its own object",
     .needs = "ldap.bind account.exists",
     .judge = judgeOwnObject,
     .looksAt = "The object by its recorded identifier, else by the account's name.",
     .wrong = "Rights were taken away, or the object is gone.",
     .remedy = "Give the account the right to read itself.",
     .source = "MS-ADTS 5.1.3"},
    {.id = "gc.bind",
     .title = "A global catalog lets this host in",
     .needs = "ldap.bind dc.gc dns.gc",
     .judge = judgeCatalog,
     .looksAt = "A bind on port 3268 of a catalog of the forest.",
     .wrong = "Users and groups of other domains are not found.",
     .remedy = "Open port 3268.",
     .source = "MS-ADTS 3.1.1.1.11"},
    {.id = "trusts.found",
     .title = "The trusted domains can be read",
     .needs = "ldap.bind",
     .judge = judgeTrusts,
     .looksAt = "The objects trustedDomain of the domain.",
     .wrong = "They cannot be read: users of those domains are not found.",
     .remedy = "Give authenticated users the right to read CN=System.",
     .source = "MS-ADTS 6.1.6.7"},
};

}  // namespace

std::span<const Rule> directoryRules() {
  return kRules;
}

}  // namespace joinscope::check
