// The machine keytab: on the disk, against the account, and key by key before a KDC.
#include <algorithm>
#include <string>

#include "check/rule.h"
#include "check/rules/account_words.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

using facts::Facts;

constexpr std::int64_t kNoSuchFile = 2;         // ENOENT
constexpr std::int64_t kPermissionDenied = 13;  // EACCES

Verdict judgePresent(const Facts& facts) {
  const facts::Keytab& keytab = facts.keytab;
  if (facts.run.joining) return notMeant("This host is to be joined; its keytab comes with that.");
  if (keytab.read.code == kNoSuchFile && !keytab.read.answered()) {
    return broken("There is no " + keytab.path + ": this host has no key to show to the domain.",
                  {"adcli join " + facts.join.domain, "makes a new key and keytab."});
  }
  return fine();
}

Verdict judgeReadable(const Facts& facts) {
  const facts::Keytab& keytab = facts.keytab;
  if (facts.run.joining || keytab.read.answered()) return fine();
  if (keytab.read.code == kNoSuchFile) return unknown("There is none.");
  if (keytab.read.code == kPermissionDenied || !facts.host.root) {
    return facts.host.root ? broken(keytab.path + " cannot be read: " + keytab.read.reason)
                           : unknown("Needs root: " + keytab.path + " is root's alone.");
  }
  return broken(
      keytab.path + " is damaged: " + keytab.read.reason,
      {"mv " + keytab.path + " " + keytab.path + ".damaged", "adcli join " + facts.join.domain});
}

Verdict judgeModes(const Facts& facts) {
  const facts::Keytab& keytab = facts.keytab;
  if (facts.run.joining || keytab.mode == 0 || keytab.damaged) {
    return notMeant("There is no keytab.");
  }
  constexpr std::int64_t kOthers = 0007;
  constexpr std::int64_t kGroupWrites = 0020;
  if (keytab.owner != 0) {
    return warning(keytab.path + " belongs to user " + std::to_string(keytab.owner) +
                       ", who can be this host to the domain.",
                   {"chown root:root " + keytab.path});
  }
  if ((keytab.mode & (kOthers | kGroupWrites)) != 0) {
    return warning("Others than root can read or change " + keytab.path +
                       ": whoever has its keys is this host to the domain.",
                   {"chmod 600 " + keytab.path});
  }
  return fine();
}

Verdict judgeRealm(const Facts& facts) {
  const facts::Keytab& keytab = facts.keytab;
  if (keytab.keys.empty()) return withoutKeys(facts);
  const std::string realm = tolk::toUpper(facts.join.domain);
  const bool found = std::ranges::any_of(
      keytab.keys, [&](const facts::Key& key) { return tolk::toUpper(key.realm) == realm; });
  if (found) return fine();
  return broken(keytab.path + " has keys of " + keytab.keys.front().realm + ", none of " + realm +
                    ", to which this host belongs by " + facts.join.namedBy + ".",
                {"join again, or correct who names the wrong domain."});
}

Verdict judgeHostKeys(const Facts& facts) {
  const facts::Keytab& keytab = facts.keytab;
  if (keytab.keys.empty()) return withoutKeys(facts);
  if (keytab.account.empty()) {
    return broken(keytab.path + " has no key of a computer account (NAME$@REALM).",
                  {"adcli join " + facts.join.domain});
  }
  const bool host = std::ranges::any_of(keytab.keys, [](const facts::Key& key) {
    return tolk::toLower(key.principal).starts_with("host/");
  });
  if (host) return fine("Keys of " + keytab.account);
  return warning(keytab.path +
                     " has no host/ key: ssh and others that let users in by Kerberos "
                     "refuse them.",
                 {"adcli update --add-service-principal=host/" + facts.host.name});
}

constexpr Rule kRules[] = {
    {.id = "keytab.present",
     .title = "There is a keytab",
     .needs = "join.domain",
     .judge = judgePresent,
     .looksAt = "The file that krb5.keytab.name of orvald.conf names, /etc/krb5.keytab.",
     .wrong = "It is missing: the host cannot log in to the domain at all.",
     .remedy = "Join again.",
     .source = "keytab format, MIT krb5 documentation"},
    {.id = "keytab.readable",
     .title = "The keytab can be read to its end",
     .needs = "keytab.present",
     .judge = judgeReadable,
     .looksAt = "One pass over the file.",
     .wrong = "Cut, or not a keytab; or this user may not read it.",
     .remedy = "Join again.",
     .source = "krb5_kt_start_seq_get(3)"},
    {.id = "keytab.modes",
     .title = "Only root can read the keytab",
     .needs = "",
     .judge = judgeModes,
     .looksAt = "Owner and permissions of the file.",
     .wrong = "Others can read it, and so be this host.",
     .remedy = "chmod 600 and chown root.",
     .source = "chmod(1)"},
    {.id = "keytab.realm",
     .title = "The keytab's keys are of the domain",
     .needs = "keytab.readable",
     .judge = judgeRealm,
     .looksAt = "The realms of the keytab's principals and the domain's name.",
     .wrong = "A keytab of another domain, or a domain wrongly named.",
     .remedy = "Join again.",
     .source = "RFC 4120, 6.1"},
    {.id = "keytab.host-keys",
     .title = "The keytab has the keys that a host needs",
     .needs = "keytab.readable",
     .judge = judgeHostKeys,
     .looksAt = "The principals of the keytab.",
     .wrong = "No computer account, or no host/ principal.",
     .remedy = "Join again.",
     .source = "RFC 4121; sshd_config(5), GSSAPIAuthentication"},
};

}  // namespace

std::span<const Rule> keytabRules() {
  return kRules;
}

}  // namespace joinscope::check
