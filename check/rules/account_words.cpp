// Codes by tables; a facts file may hold any number, which is then written as a number.
#include "check/rules/account_words.h"

#include <algorithm>
#include <array>
#include <ctime>

#include "tolk/base/text.h"
#include "tolk/krb5/krb5_library.h"

namespace joinscope::check {
namespace {

struct Name {
  std::int64_t number;
  const char* text;
};

constexpr std::array kCodes{
    Name{KRB5KDC_ERR_NAME_EXP, "KRB5KDC_ERR_NAME_EXP"},
    Name{KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN, "KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN"},
    Name{KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN, "KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN"},
    Name{KRB5KDC_ERR_POLICY, "KRB5KDC_ERR_POLICY"},
    Name{KRB5KDC_ERR_ETYPE_NOSUPP, "KRB5KDC_ERR_ETYPE_NOSUPP"},
    Name{KRB5KDC_ERR_CLIENT_REVOKED, "KRB5KDC_ERR_CLIENT_REVOKED"},
    Name{KRB5KDC_ERR_KEY_EXP, "KRB5KDC_ERR_KEY_EXP"},
    Name{KRB5KDC_ERR_PREAUTH_FAILED, "KRB5KDC_ERR_PREAUTH_FAILED"},
    Name{KRB5KRB_AP_ERR_SKEW, "KRB5KRB_AP_ERR_SKEW"},
    Name{KRB5KRB_AP_ERR_TKT_NYV, "KRB5KRB_AP_ERR_TKT_NYV"},
    Name{KRB5_KDC_UNREACH, "KRB5_KDC_UNREACH"},
    Name{KRB5_REALM_UNKNOWN, "KRB5_REALM_UNKNOWN"},
};

// RFC 3961, 8, RFC 8009, 7.
constexpr std::array kEncryptions{
    Name{1, "des-cbc-crc"},
    Name{3, "des-cbc-md5"},
    Name{16, "des3-cbc-sha1"},
    Name{17, "aes128-cts-hmac-sha1-96"},
    Name{18, "aes256-cts-hmac-sha1-96"},
    Name{19, "aes128-cts-hmac-sha256-128"},
    Name{20, "aes256-cts-hmac-sha384-192"},
    Name{23, "arcfour-hmac"},
    Name{25, "camellia128-cts-cmac"},
    Name{26, "camellia256-cts-cmac"},
};

struct Bit {
  std::int64_t bit;
  std::int64_t type;
};

constexpr std::array kSupportedBits{Bit{0x10, 18}, Bit{0x8, 17}, Bit{0x4, 23}, Bit{0x2, 3},
                                    Bit{0x1, 1}};

template <std::size_t N>
std::string nameIn(const std::array<Name, N>& table, std::int64_t number, const char* kind) {
  const auto found =
      std::ranges::find_if(table, [number](const Name& row) { return row.number == number; });
  return found == table.end() ? kind + std::to_string(number) : found->text;
}

}  // namespace

std::string utcText(std::int64_t time) {
  if (time == 0) return "never";
  const auto seconds = static_cast<std::time_t>(time);
  std::tm parts{};
  std::array<char, 64> text{};
  if (::gmtime_r(&seconds, &parts) == nullptr ||
      std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &parts) == 0)
    return "second " + std::to_string(time);
  return text.data();
}

std::string codeName(std::int64_t code) {
  return nameIn(kCodes, code, "code ");
}

std::string encryptionText(std::int64_t type) {
  return nameIn(kEncryptions, type, "type ");
}

std::string encryptionTexts(const std::vector<std::int64_t>& types) {
  std::string text;
  for (const std::int64_t type : types) text += (text.empty() ? "" : ", ") + encryptionText(type);
  return text;
}

std::vector<std::int64_t> encryptionTypesIn(std::int64_t supported) {
  std::vector<std::int64_t> types;
  for (const Bit& row : kSupportedBits) {
    if ((supported & row.bit) != 0) types.push_back(row.type);
  }
  return types;
}

const facts::Login& telling(const facts::Kerberos& kerberos) {
  return kerberos.inTime.asked.asked() ? kerberos.inTime : kerberos.login;
}

AccountTrouble troubleIn(const facts::Login& login) {
  // MS-ERREF 2.3.1
  switch (login.status) {
    case 0xC0000072:
      return AccountTrouble::disabled;
    case 0xC0000193:
      return AccountTrouble::expired;
    case 0xC0000234:
      return AccountTrouble::locked;
    case 0xC0000071:
      return AccountTrouble::passwordExpired;
    case 0xC0000224:
      return AccountTrouble::mustChange;
    default:
      break;
  }
  const facts::Asked& asked = login.asked;
  const bool judged = asked.answered() || isRefusedWith(asked, KRB5KDC_ERR_PREAUTH_FAILED);
  if (judged) return AccountTrouble::none;
  if (isRefusedWith(asked, KRB5KDC_ERR_NAME_EXP)) return AccountTrouble::expired;
  return AccountTrouble::unknown;
}

bool isRefusedWith(const facts::Asked& asked, std::int64_t code) {
  return asked.outcome == facts::Outcome::refused && asked.code == code;
}

namespace {

Verdict withoutEvidence(const facts::Facts& facts, const std::string& text) {
  if (facts.run.joining) return notMeant("This host is to be joined.");
  if (!facts.host.root && facts.keytab.keys.empty()) return unknown("Needs root.");
  return unknown(text);
}

}  // namespace

Verdict withoutKeys(const facts::Facts& facts) {
  return withoutEvidence(facts, "No key of the account was read.");
}

Verdict withoutAccount(const facts::Facts& facts) {
  return withoutEvidence(facts, "The account was not read.");
}

std::string notAskedText(const facts::Asked& asked) {
  if (asked.reason == "needs root") return "Needs root.";
  return asked.reason.empty() ? "It was not reached in this run." : "Not tried: " + asked.reason;
}

std::string accountName(const facts::Facts& facts) {
  const std::string& account = facts.kerberos.account;
  if (!account.empty()) return account.substr(0, account.rfind('@'));
  if (!facts.directory.account.name.empty()) return facts.directory.account.name;
  return facts.join.account + "$";
}

std::int64_t newestVersion(const facts::Facts& facts) {
  std::int64_t newest = 0;
  for (const facts::ProvedKey& key : facts.kerberos.keys) newest = std::max(newest, key.version);
  return newest;
}

std::int64_t newestKey(const facts::Facts& facts) {
  std::int64_t newest = 0;
  for (const facts::Key& key : facts.keytab.keys) newest = std::max(newest, key.written);
  return newest;
}

std::string configFile(const facts::Facts& facts) {
  const std::vector<std::string>& files = facts.kerberos.config.files;
  return files.empty() ? "/etc/krb5.conf" : files.front();
}

}  // namespace joinscope::check
