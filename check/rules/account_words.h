// What the rules about keys and the account read out of refusals, and how they write it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "check/rule.h"
#include "facts/facts.h"

namespace joinscope::check {

/// "2026-11-23 15:04:05 UTC"; "never" for 0.
std::string utcText(std::int64_t time);

/// A Kerberos code by its name, "KRB5KDC_ERR_PREAUTH_FAILED"; by its number where it is no KDC's.
std::string codeName(std::int64_t code);

/// An encryption type as krb5.conf(5) writes it, "aes256-cts-hmac-sha1-96".
std::string encryptionText(std::int64_t type);
std::string encryptionTexts(const std::vector<std::int64_t>& types);

/// The encryption types (RFC 3961) in a value of msDS-SupportedEncryptionTypes (MS-KILE 2.2.7).
std::vector<std::int64_t> encryptionTypesIn(std::int64_t supported);

/// What a refusal of a login says of the account.
enum class AccountTrouble { none, unknown, disabled, expired, locked, passwordExpired, mustChange };

/// The login that says most of the account: by the KDC's clock, where this host's was refused.
const facts::Login& telling(const facts::Kerberos& kerberos);

/// "none" for an answer that only an account without such trouble gets: a ticket, or a judgement of
/// its key; "unknown" where nothing is known.
AccountTrouble troubleIn(const facts::Login& login);

bool isRefusedWith(const facts::Asked& asked, std::int64_t code);

/// The verdict on what needs a key of the keytab, or the account as the directory shows it, where
/// there is none to judge.
Verdict withoutKeys(const facts::Facts& facts);
Verdict withoutAccount(const facts::Facts& facts);

/// Why a question was not asked.
std::string notAskedText(const facts::Asked& asked);

/// The account's name as commands take it: "HOST1$".
std::string accountName(const facts::Facts& facts);

/// The highest version of the account's keys in the keytab; 0 without one.
std::int64_t newestVersion(const facts::Facts& facts);

/// When the newest key of the keytab was written; 0 without one.
std::int64_t newestKey(const facts::Facts& facts);

/// krb5.conf as the host reads it first.
std::string configFile(const facts::Facts& facts);

}  // namespace joinscope::check
