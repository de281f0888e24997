// The keys of the keytab against the account: version, encryption types, and each shown to a KDC.
#include <algorithm>
#include <string>

#include "check/rule.h"
#include "check/rules/account_words.h"
#include "tolk/krb5/krb5_library.h"

namespace joinscope::check {
namespace {

using facts::Facts;
using facts::ProvedKey;

bool isGood(const ProvedKey& key) {
  return key.asked.answered();
}

bool isRefused(const ProvedKey& key) {
  return key.refusedAt != 0 || isRefusedWith(key.asked, KRB5KDC_ERR_PREAUTH_FAILED);
}

const ProvedKey* firstRefused(const Facts& facts) {
  const auto& keys = facts.kerberos.keys;
  const auto found = std::ranges::find_if(keys, isRefused);
  return found == keys.end() ? nullptr : &*found;
}

bool isBehind(const Facts& facts) {
  const std::int64_t version = facts.directory.account.keyVersion;
  return version > 0 && newestVersion(facts) > 0 && newestVersion(facts) < version;
}

bool isAes(std::int64_t type) {
  constexpr std::int64_t kAes128 = 17;  // RFC 3961, 8; the last of them is 20 (RFC 8009)
  constexpr std::int64_t kLast = 20;
  return type >= kAes128 && type <= kLast;
}

std::vector<std::string> joinAgain(const Facts& facts) {
  return {"adcli join " + facts.join.domain,
          "gives account and keytab a new password. If another machine has this name (a clone), "
          "rename one of them first: they would take turns."};
}

Verdict judgeVersion(const Facts& facts) {
  const facts::Account& account = facts.directory.account;
  const std::int64_t newest = newestVersion(facts);
  if (newest == 0) return withoutKeys(facts);
  if (account.keyVersion == 0) return unknown("The directory's version was not read.");
  const std::string theirs = "version " + std::to_string(account.keyVersion) + " (changed " +
                             utcText(account.passwordSet) + ")";
  const std::string ours = "newest key in " + facts.keytab.path + " " + std::to_string(newest);
  if (isBehind(facts)) {
    return evident(broken(
        "The keytab is older than the account's password: account " + theirs + ", " + ours + ".",
        joinAgain(facts)));
  }
  if (newest > account.keyVersion) {
    return warning("The keytab is ahead of this controller: account " + theirs + ", " + ours +
                       ". Another controller has the change already, or the directory was "
                       "restored from a backup.",
                   {"samba-tool drs showrepl", "or repadmin /showrepl: wait for replication."});
  }
  return fine("Version " + std::to_string(newest) + " in both");
}

std::string refusalText(const Facts& facts, const ProvedKey& key) {
  const std::string name = "key version " + std::to_string(key.version) + " (" +
                           encryptionText(key.encryption) + ") of " + facts.kerberos.account;
  const bool others = std::ranges::any_of(facts.kerberos.keys, isGood);
  const std::string whose =
      others ? " Other keys of the keytab are good: this one was damaged, or made with another "
               "password."
             : " The account's password was changed after the keytab was written (" +
                   utcText(newestKey(facts)) + "): by a second join, a clone or a reset.";
  if (key.refusedAt != 0) {
    return "The KDC refused " + name + " at " + utcText(key.refusedAt) + ", and " +
           facts.keytab.path +
           " is the same since: it was not shown again, lest the account be locked." + whose;
  }
  return "The KDC refuses " + name + ": KRB5KDC_ERR_PREAUTH_FAILED (attempt " +
         std::to_string(facts.kerberos.attempts) + " of this run)." + whose;
}

Verdict judgeKeys(const Facts& facts) {
  const std::vector<ProvedKey>& keys = facts.kerberos.keys;
  if (keys.empty()) return withoutKeys(facts);
  if (isBehind(facts)) return unknown("Older than the account's password: not judged key by key.");
  if (const ProvedKey* refused = firstRefused(facts); refused != nullptr) {
    return evident(broken(refusalText(facts, *refused), joinAgain(facts)));
  }
  const auto good = std::ranges::count_if(keys, isGood);
  for (const ProvedKey& key : keys) {
    if (key.asked.answered() || isRefusedWith(key.asked, KRB5KDC_ERR_ETYPE_NOSUPP)) continue;
    // One that this host itself does not admit, as RC4 where a policy forbids it, is of no use.
    if (good > 0 && key.asked.outcome == facts::Outcome::failed) continue;
    return unknown("Key of " + encryptionText(key.encryption) + " not proved: " +
                   (key.asked.reason.empty() ? "it was not reached." : key.asked.reason));
  }
  if (good == 0) return unknown("The KDC admits the encryption type of none.");
  return fine(std::to_string(good) + " keys of version " + std::to_string(newestVersion(facts)) +
              ", each proved by one attempt");
}

/// The type in which a KDC encrypts tickets for the account: the strongest that it announces.
std::int64_t ticketType(const Facts& facts) {
  const std::vector<std::int64_t> types =
      encryptionTypesIn(facts.directory.account.encryptionTypes);
  return types.empty() ? 0 : types.front();
}

/// The KDC wants AES, and what asks it without a choice of its own has no such key.
bool lacksWantedType(const Facts& facts) {
  const facts::Asked& login = facts.kerberos.hostWay.login.asked;
  const bool any = std::ranges::any_of(facts.kerberos.keys,
                                       [](const ProvedKey& key) { return isAes(key.encryption); });
  return !any && (login.code == KRB5_PREAUTH_FAILED || login.code == KRB5_KT_NOTFOUND);
}

Verdict judgeEncryption(const Facts& facts) {
  const std::vector<ProvedKey>& keys = facts.kerberos.keys;
  if (keys.empty()) return withoutKeys(facts);
  if (lacksWantedType(facts)) {
    return broken("The KDC wants AES, and " + facts.keytab.path + " has keys of " +
                      encryptionText(keys.front().encryption) +
                      " only: kinit and SSSD say \"No key table entry found\".",
                  {"net ads enctypes set '" + accountName(facts) + "' 28 -U ADMINISTRATOR",
                   "if the account announces no AES (account.enctypes); then join again: "
                   "adcli join " +
                       facts.join.domain});
  }
  const auto unsupported = std::ranges::find_if(keys, [](const ProvedKey& key) {
    return isRefusedWith(key.asked, KRB5KDC_ERR_ETYPE_NOSUPP);
  });
  const bool anyGood = std::ranges::any_of(keys, isGood);
  if (unsupported != keys.end() && !anyGood) {
    return evident(broken("The KDC has no key of " + encryptionText(unsupported->encryption) +
                              " of the account, or admits none (KRB5KDC_ERR_ETYPE_NOSUPP).",
                          joinAgain(facts)));
  }
  const std::int64_t type = ticketType(facts);
  if (type == 0 && !facts.directory.account.read.answered()) {
    return withoutAccount(facts);
  }
  const bool has =
      std::ranges::any_of(keys, [type](const ProvedKey& key) { return key.encryption == type; });
  if (type == 0 || has) return fine();
  return broken("The account announces " + encryptionText(type) + ", and " + facts.keytab.path +
                    " has no such key: tickets for this host, as ssh and NFS get them, cannot be "
                    "opened.",
                joinAgain(facts));
}

constexpr Rule kRules[] = {
    {.id = "keytab.version",
     .title = "The keytab is as new as the account's password",
     .needs = "",
     .judge = judgeVersion,
     .looksAt = "The newest version among the keytab's keys, msDS-KeyVersionNumber and pwdLastSet. "
                "A host whose key is refused can ask for these as a user only (-u).",
     .wrong = "Older: somebody else has changed the password, or an old keytab came back.",
     .remedy = "Join again.",
     .source = "MS-ADTS 3.1.1.4.5.16; RFC 4120, 5.2.9"},
    {.id = "keytab.keys",
     .title = "Each key of the keytab is the account's",
     .needs = "keytab.version keytab.enctypes keytab.present keytab.readable keytab.realm "
              "keytab.host-keys "
              "krb.enctypes account.exists account.enabled account.expired account.locked "
              "time.offset resolver.answers resolver.domain dns.ldap dns.kerberos dc.kdc "
              "dc.answers",
     .judge = judgeKeys,
     .looksAt =
         "A login with each key of the newest version alone, one attempt a key and run, none "
         "after the first refusal. A refused key rests for half an hour, later for a day, "
         "unless the file changes (/run/joincheck/refused): no number of runs locks the "
         "account.",
     .wrong = "The KDC refuses one: the password was changed elsewhere, or the file is damaged.",
     .remedy = "Join again.",
     .source = "RFC 4120, 5.2.7.2"},
    {.id = "keytab.enctypes",
     .title = "Keytab and account have encryption types in common",
     .needs = "keytab.version",
     .judge = judgeEncryption,
     .looksAt = "The types of the keytab's keys, msDS-SupportedEncryptionTypes, the KDC's answers.",
     .wrong = "\"No key table entry found\", \"KDC has no support for encryption type\".",
     .remedy = "Join again.",
     .source = "MS-KILE 2.2.7, 3.3.5.7"},
};

}  // namespace

std::span<const Rule> keyRules() {
  return kRules;
}

}  // namespace joinscope::check
