// The computer account: there, enabled, of the right kind. A KDC's refusal says so before the
// directory can.
#include <string>

#include "check/rule.h"
#include "check/rules/account_words.h"
#include "tolk/krb5/krb5_library.h"

namespace joinscope::check {
namespace {

using facts::Account;
using facts::Facts;

constexpr std::int64_t kNoSuchObject = 32;  // LDAP, RFC 4511
constexpr std::int64_t kDisabled = 0x2;     // userAccountControl, MS-ADTS 2.2.16
constexpr std::int64_t kUnconstrained = 0x80000;
constexpr std::int64_t kDesOnly = 0x200000;
constexpr std::int64_t kLocked = 0x10;

const char kToBeJoined[] = "This host is to be joined.";

Verdict nobodyTold(const Facts& facts) {
  if (!facts.host.root && facts.keytab.keys.empty()) return unknown("Needs root.");
  return unknown("Neither a KDC nor the directory has told.");
}

bool isRead(const Facts& facts) {
  return facts.directory.account.read.answered();
}

Verdict judgeExists(const Facts& facts) {
  if (facts.run.joining) return notMeant(kToBeJoined);
  const Account& account = facts.directory.account;
  const facts::Asked& login = telling(facts.kerberos).asked;
  const std::vector<std::string> next{"adcli join " + facts.join.domain,
                                      "makes the account anew; its group memberships are gone."};
  if (isRefusedWith(login, KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN)) {
    return evident(broken("The domain has no account " + facts.kerberos.account +
                              ": deleted, renamed or never there "
                              "(KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN).",
                          next));
  }
  if (account.read.code == kNoSuchObject) {
    return evident(
        broken("The directory has no object of this host: " + account.read.reason + ".", next));
  }
  if (!account.joinedSid.empty() && isRead(facts) && account.sid != account.joinedSid) {
    return warning("The account " + account.name + " was made anew: the join settings record " +
                       account.joinedSid + ", it is " + account.sid + " now.",
                   {"velkd adopt", "writes the join settings anew."});
  }
  if (isRead(facts)) return fine(account.dn);
  return troubleIn(telling(facts.kerberos)) == AccountTrouble::unknown &&
                 !isRefusedWith(login, KRB5KDC_ERR_CLIENT_REVOKED)
             ? nobodyTold(facts)
             : fine();
}

/// Broken where the KDC or the directory says so, fine where one of them shows the contrary.
Verdict judgeFlag(const Facts& facts, AccountTrouble trouble, bool byDirectory,
                  const std::string& text, std::vector<std::string> next) {
  if (facts.run.joining) return notMeant(kToBeJoined);
  const bool byKdc = troubleIn(telling(facts.kerberos)) == trouble;
  if (byKdc || byDirectory) {
    const std::string evidence =
        byKdc ? "the KDC says " + codeName(telling(facts.kerberos).asked.code)
              : facts.directory.account.dn;
    return evident(broken(text + " (" + evidence + ").", std::move(next)));
  }
  const bool known = isRead(facts) || troubleIn(telling(facts.kerberos)) != AccountTrouble::unknown;
  return known ? fine() : nobodyTold(facts);
}

Verdict judgeEnabled(const Facts& facts) {
  const std::string name = accountName(facts);
  return judgeFlag(facts, AccountTrouble::disabled,
                   isRead(facts) && (facts.directory.account.control & kDisabled) != 0,
                   "The computer account " + name + " is disabled",
                   {"samba-tool user enable '" + name + "'",
                    "or Enable-ADAccount, at the directory, by who may do that."});
}

Verdict judgeExpired(const Facts& facts) {
  const std::string name = accountName(facts);
  const std::int64_t expires = facts.directory.account.expires;
  const bool passed = isRead(facts) && expires != 0 && expires < facts.host.now;
  return judgeFlag(facts, AccountTrouble::expired, passed,
                   "The computer account " + name + " has expired" +
                       (passed ? " at " + utcText(expires) : std::string()),
                   {"samba-tool user setexpiry '" + name + "' --noexpiry",
                    "or Clear-ADAccountExpiration, at the directory."});
}

Verdict judgeLocked(const Facts& facts) {
  const std::string name = accountName(facts);
  return judgeFlag(facts, AccountTrouble::locked,
                   isRead(facts) && (facts.directory.account.computed & kLocked) != 0,
                   "The computer account " + name + " is locked after too many wrong passwords",
                   {"samba-tool user unlock '" + name + "'",
                    "or Unlock-ADAccount; then find who has used its name with an old password."});
}

Verdict judgeAge(const Facts& facts) {
  if (!isRead(facts)) return withoutAccount(facts);
  const std::int64_t set = facts.directory.account.passwordSet;
  if (set == 0) return unknown("The directory does not tell when the password was set.");
  constexpr std::int64_t kDay = 86400;
  constexpr std::int64_t kOldDays = 180;
  const std::int64_t days = (facts.host.now - set) / kDay;
  if (days <= kOldDays) return fine("Password of " + utcText(set));
  return warning("The account's password is " + std::to_string(days) + " days old (" +
                     utcText(set) +
                     "): nothing on this host renews it, and clean-ups of stale "
                     "accounts take it for dead.",
                 {"adcli update --computer-password-lifetime=30"});
}

Verdict judgeEncryption(const Facts& facts) {
  if (!isRead(facts)) return withoutAccount(facts);
  const Account& account = facts.directory.account;
  const std::int64_t types = account.encryptionTypes;
  constexpr std::int64_t kAes = 0x18;
  constexpr std::int64_t kKnown = 0x1f;
  const std::vector<std::string> next{
      "net ads enctypes set '" + account.name + "' 28 -U ADMINISTRATOR",
      "then join again: adcli join " + facts.join.domain};
  if ((account.control & kDesOnly) != 0) {
    return broken(
        "The account may use DES only (USE_DES_KEY_ONLY), which nobody supports any "
        "more.",
        next);
  }
  if ((types & kKnown) == 0 || (types & kAes) != 0) return fine();
  return warning("The account announces no AES: msDS-SupportedEncryptionTypes is " +
                     std::to_string(types) + " (" + encryptionTexts(encryptionTypesIn(types)) +
                     "). Controllers are about to refuse the rest.",
                 next);
}

Verdict judgeDelegation(const Facts& facts) {
  if (!isRead(facts)) return withoutAccount(facts);
  if ((facts.directory.account.control & kUnconstrained) == 0) return fine();
  return warning(
      "The account is trusted for unconstrained delegation: whoever controls this host "
      "can act as each user who logs in to it.",
      {"samba-tool delegation for-any-service '" + accountName(facts) + "' off"});
}

constexpr Rule kRules[] = {
    {.id = "account.exists",
     .title = "The domain has the computer account",
     .needs = "",
     .judge = judgeExists,
     .looksAt = "The KDC's answer to the account's name; the object by its recorded identifier.",
     .wrong = "\"Client not found in Kerberos database\": deleted, or never joined here.",
     .remedy = "Join again.",
     .source = "RFC 4120, 7.5.9"},
    {.id = "account.enabled",
     .title = "The computer account is enabled",
     .needs = "",
     .judge = judgeEnabled,
     .looksAt = "The NT status in the KDC's refusal; userAccountControl.",
     .wrong = "\"Client's credentials have been revoked\".",
     .remedy = "Enable the account.",
     .source = "MS-KILE 2.2.2; MS-ADTS 2.2.16"},
    {.id = "account.expired",
     .title = "The computer account has not expired",
     .needs = "",
     .judge = judgeExpired,
     .looksAt = "The NT status in the KDC's refusal; accountExpires.",
     .wrong = "\"Client's credentials have been revoked\", \"Client's entry has expired\".",
     .remedy = "Extend the account.",
     .source = "MS-KILE 2.2.2; MS-ADTS 2.3.1"},
    {.id = "account.locked",
     .title = "The computer account is not locked",
     .needs = "",
     .judge = judgeLocked,
     .looksAt = "The NT status in the KDC's refusal; msDS-User-Account-Control-Computed.",
     .wrong = "\"Client's credentials have been revoked\", and half an hour later it works.",
     .remedy = "Unlock the account.",
     .source = "MS-KILE 2.2.2; MS-ADTS 3.1.1.4.5.17"},
    {.id = "account.password-age",
     .title = "The account's password is renewed now and then",
     .needs = "ldap.own-object",
     .judge = judgeAge,
     .looksAt = "pwdLastSet.",
     .wrong = "Over 180 days: the host looks abandoned.",
     .remedy = "Let SSSD, winbind or adcli update renew it.",
     .source = "MS-ADTS 3.1.1.4.5"},
    {.id = "account.enctypes",
     .title = "The account can use AES",
     .needs = "ldap.own-object",
     .judge = judgeEncryption,
     .looksAt = "msDS-SupportedEncryptionTypes and USE_DES_KEY_ONLY.",
     .wrong = "RC4 or DES only, which controllers and libraries drop one after the other.",
     .remedy = "Announce AES, then join again for keys of it.",
     .source = "MS-KILE 2.2.7"},
    {.id = "account.delegation",
     .title = "The account is not trusted for everything",
     .needs = "ldap.own-object",
     .judge = judgeDelegation,
     .looksAt = "TRUSTED_FOR_DELEGATION in userAccountControl.",
     .wrong = "Unconstrained delegation: tickets of users lie on this host.",
     .remedy = "Use constrained delegation.",
     .source = "MS-ADTS 2.2.16; MS-SFU"},
};

}  // namespace

std::span<const Rule> accountRules() {
  return kRules;
}

}  // namespace joinscope::check
