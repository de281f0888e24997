// By the library's cursor. Accounts are found again by their principal: a keytab may hold those of
// many hosts.
#include "tolk/krb5/keytab.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/krb5_error.h"

namespace tolk {
namespace {

std::string_view textOf(const krb5_data& data) noexcept {
  return {data.data, data.length};
}

/// One entry while the scan stands at it; its key is wiped and freed at scope exit.
class Entry {
 public:
  explicit Entry(krb5_context context) noexcept : context_(context) {}
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;
  ~Entry() { (void)krb5_free_keytab_entry_contents(context_, &value_); }

  [[nodiscard]] krb5_keytab_entry* get() noexcept { return &value_; }

 private:
  krb5_context context_;
  krb5_keytab_entry value_{};
};

void check(krb5_context context, krb5_error_code code, const char* step) {
  if (code == 0) return;
  throw KerberosException(std::string(step) + ":" + krb5Message(context, code),
                          static_cast<int>(code));
}

KeytabKey keyOf(krb5_context context, const krb5_keytab_entry& entry) {
  const krb5_const_principal principal = entry.principal;
  return {.principal = principalText(context, principal),
          .name = principal->length == 1 ? std::string(textOf(principal->data[0])) : std::string(),
          .realm = std::string(textOf(principal->realm)),
          .version = entry.vno,
          .written = static_cast<std::uint32_t>(entry.timestamp),
          .encryption = entry.key.enctype};
}

/// Accounts in the order of their coming.
class Collection {
 public:
  void add(KeytabAccount account) {
    const auto [place, isNew] = places_.try_emplace(account.principal, accounts_.size());
    if (isNew) {
      accounts_.push_back(std::move(account));
      return;
    }
    KeytabAccount& same = accounts_[place->second];
    same.keyVersion = std::max(same.keyVersion, account.keyVersion);
    same.newest = std::max(same.newest, account.newest);
  }
  [[nodiscard]] std::vector<KeytabAccount> take() { return std::move(accounts_); }

 private:
  std::vector<KeytabAccount> accounts_;
  std::unordered_map<std::string, std::size_t> places_;  // by principal
};

}  // namespace

std::string KeytabKey::writtenText() const {
  std::array<char, 18> text{};
  char pad = ' ';
  const auto time = static_cast<krb5_timestamp>(written);
  return krb5_timestamp_to_sfstring(time, text.data(), text.size(), &pad) == 0 ? text.data() : "?";
}

std::string KeytabKey::encryptionText() const {
  std::array<char, 100> text{};
  return krb5_enctype_to_string(encryption, text.data(), text.size()) == 0 ? text.data() : "?";
}

KeytabScan::KeytabScan(krb5_context context, const std::string& path)
    : context_(context), keytab_(context) {
  check(context, krb5_kt_resolve(context, ("WRFILE:" + path).c_str(), keytab_.out()),
        "while resolving keytab");
  check(context, krb5_kt_start_seq_get(context, keytab_.get(), &cursor_),
        "while starting keytab scan");
  open_ = true;
}

KeytabScan::~KeytabScan() {
  if (open_) (void)krb5_kt_end_seq_get(context_, keytab_.get(), &cursor_);
}

bool KeytabScan::next(KeytabKey& key) {
  Entry entry(context_);
  const krb5_error_code code = krb5_kt_next_entry(context_, keytab_.get(), entry.get(), &cursor_);
  if (code == KRB5_KT_END) {
    finish();
    return false;
  }
  check(context_, code, "while scanning keytab");
  key = keyOf(context_, *entry.get());
  return true;
}

void KeytabScan::finish() {
  open_ = false;
  check(context_, krb5_kt_end_seq_get(context_, keytab_.get(), &cursor_),
        "while ending keytab scan");
}

std::vector<KeytabAccount> machineAccountsInKeytab(KerberosContext& kerberos,
                                                   const std::string& path) {
  KeytabScan scan(kerberos.get(), path);
  Collection accounts;
  for (KeytabKey key; scan.next(key);) {
    if (key.name.size() < 2 || !key.name.ends_with('$')) continue;
    accounts.add({.name = key.name.substr(0, key.name.size() - 1),
                  .realm = std::move(key.realm),
                  .keyVersion = key.version,
                  .newest = key.written,
                  .principal = std::move(key.principal)});
  }
  return accounts.take();
}

}  // namespace tolk
