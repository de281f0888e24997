// Logins: of the computer account by the own way and by krb5.conf, and of the user who was named.
#include <string>

#include "check/rule.h"
#include "check/rules/account_words.h"
#include "tolk/krb5/krb5_library.h"

namespace joinscope::check {
namespace {

using facts::Asked;
using facts::Facts;

constexpr char kNothingNamed[] = "No domain is named.";

Verdict judgeLogin(const Facts& facts) {
  if (facts.run.joining) return notMeant("This host is to be joined.");
  const Asked& asked = facts.kerberos.login.asked;
  if (asked.answered()) return fine("Ticket for " + facts.kerberos.account);
  if (!asked.asked()) return unknown(notAskedText(asked));
  return broken("The computer account " + facts.kerberos.account +
                    " gets no ticket: " + codeName(asked.code) + ", " + asked.reason,
                {"kinit -k '" + facts.kerberos.account + "'"});
}

/// What of the host's way failed; null when nothing has.
const Asked* failureOf(const facts::HostWay& way) {
  for (const Asked* asked : {&way.lookup, &way.login.asked, &way.ticket}) {
    if (asked->asked() && !asked->answered()) return asked;
  }
  return nullptr;
}

Verdict judgeHostWay(const Facts& facts) {
  const facts::HostWay& way = facts.kerberos.hostWay;
  if (facts.join.domain.empty()) return unknown(kNothingNamed);
  const Asked* const failure = failureOf(way);
  if (failure != nullptr) {
    const std::string reached = facts.kerberos.login.asked.answered()
                                    ? "By its own way joincheck reaches the domain; as "
                                    : "As ";
    return broken(reached + "kinit, SSSD and ssh see it by " + configFile(facts) +
                      " and the resolver, it fails: " + failure->reason,
                  {"KRB5_TRACE=/dev/stderr kinit -k '" + facts.kerberos.account + "'"});
  }
  if (way.ticket.answered()) {
    return fine("By krb5.conf, too: ticket for ldap/" + way.canonicalName);
  }
  if (facts.run.joining && way.lookup.answered()) return fine("The controller's name is found");
  constexpr double kSlow = 5;
  if (!way.step.empty() && facts.run.seconds > kSlow) {
    return warning("As kinit, SSSD and ssh see it by " + configFile(facts) +
                       " and the resolver, a login takes longer than " +
                       std::to_string(static_cast<int>(facts.run.seconds)) +
                       " s: the run ended while it asked for " + way.step + ".",
                   {"KRB5_TRACE=/dev/stderr kinit -k '" + facts.kerberos.account + "'"});
  }
  if (!way.step.empty()) return unknown("The run ended while it asked for " + way.step + ".");
  return unknown(notAskedText(way.login.asked));
}

/// What to do about the account of a user, and who does it.
std::vector<std::string> userRemedy(AccountTrouble trouble, const std::string& user) {
  const std::string name = "'" + user.substr(user.find('\\') + 1) + "'";
  switch (trouble) {
    case AccountTrouble::disabled:
      return {"samba-tool user enable " + name, "or Enable-ADAccount, at the directory."};
    case AccountTrouble::expired:
      return {"samba-tool user setexpiry " + name + " --noexpiry",
              "or Clear-ADAccountExpiration, at the directory."};
    case AccountTrouble::locked:
      return {"samba-tool user unlock " + name,
              "or Unlock-ADAccount, at the directory; it also ends by itself after the domain's "
              "lockout duration."};
    case AccountTrouble::passwordExpired:
    case AccountTrouble::mustChange:
      return {"kpasswd " + name};
    default:
      return {};
  }
}

Verdict judgeUser(const Facts& facts) {
  const std::string& user = facts.kerberos.user;
  if (user.empty()) return notMeant("Nobody's password is tried (-u USER).");
  const facts::Login& login = facts.kerberos.userLogin;
  if (login.asked.answered()) return fine("The password of " + user + " is right");
  const facts::UserAccount& account = facts.directory.user;
  if (!login.asked.asked() && account.limit > 0 && account.wrongPasswords >= account.limit) {
    return broken(user + " is locked out: " + std::to_string(account.wrongPasswords) +
                      " wrong passwords were tried, and " + std::to_string(account.limit) +
                      " lock the account. This one was not.",
                  userRemedy(AccountTrouble::locked, user));
  }
  if (!login.asked.asked()) return unknown(notAskedText(login.asked));
  const std::string text = user + " does not log in: ";
  const std::string end = " (" + codeName(login.asked.code) + ").";
  if (isRefusedWith(login.asked, KRB5KDC_ERR_PREAUTH_FAILED)) {
    return broken(text + "the password is wrong" + end, {"type it again, or have it reset."});
  }
  if (isRefusedWith(login.asked, KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN)) {
    return broken(text + "the domain has no such user" + end, {"name the user as USER@DOMAIN."});
  }
  return broken(text + login.asked.reason + end, userRemedy(troubleIn(login), user));
}

constexpr Rule kRules[] = {
    {.id = "krb.login",
     .title = "The computer account logs in",
     .needs = "join.domain keytab.present keytab.readable keytab.realm keytab.host-keys "
              "krb.enctypes keytab.version keytab.keys keytab.enctypes account.exists "
              "account.enabled account.expired account.locked time.offset resolver.answers "
              "resolver.domain dns.ldap dns.kerberos dc.kdc dc.answers",
     .judge = judgeLogin,
     .looksAt = "A ticket granting ticket with a key of the keytab, from the controller that "
                "joincheck finds itself.",
     .wrong = "The KDC refuses, or nobody answers.",
     .remedy = "See what the KDC's code says.",
     .source = "RFC 4120, 3.1; MS-KILE"},
    {.id = "krb.host-way",
     .title = "kinit, SSSD and ssh reach the domain as joincheck does",
     .needs = "krb.login krb.conf krb.realm krb.kdc-lines krb.rdns krb.enctypes keytab.enctypes "
              "host.nsswitch "
              "host.hosts-file resolver.answers",
     .judge = judgeHostWay,
     .looksAt = "getaddrinfo(3) for the controller, a ticket and a service ticket by the host's "
                "own krb5.conf, nsswitch.conf and resolver.",
     .wrong = "joincheck's own way works round something that other programs meet.",
     .remedy = "KRB5_TRACE=/dev/stderr kinit -k shows each step.",
     .source = "krb5.conf(5); nsswitch.conf(5)"},
    {.id = "krb.user",
     .title = "The user's password is right",
     .needs = "join.domain time.offset resolver.answers dns.ldap dns.kerberos dc.kdc dc.answers",
     .judge = judgeUser,
     .looksAt = "One login with the password that was given, unless it might be the last before "
                "the account is locked.",
     .wrong = "Wrong password; account disabled, expired or locked; password to be changed.",
     .remedy = "What the KDC's reason asks for.",
     .source = "RFC 4120, 7.5.9; MS-KILE 2.2.2"},
};

}  // namespace

std::span<const Rule> loginRules() {
  return kRules;
}

}  // namespace joinscope::check
