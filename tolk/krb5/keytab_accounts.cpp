// The computer accounts whose keys are in a keytab.
#include "tolk/krb5/keytab_accounts.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"

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

std::optional<KeytabAccount> accountOf(krb5_context context, const krb5_keytab_entry& entry) {
  const krb5_const_principal principal = entry.principal;
  if (principal->length != 1) return std::nullopt;
  const std::string_view name = textOf(principal->data[0]);
  if (name.size() < 2 || !name.ends_with('$')) return std::nullopt;
  return KeytabAccount{
      .name = std::string(name.substr(0, name.size() - 1)),
      .realm = std::string(textOf(principal->realm)),
      .keyVersion = entry.vno,
      .newest = static_cast<std::time_t>(static_cast<std::uint32_t>(entry.timestamp)),
      .principal = principalText(context, principal)};
}

/// Accounts in the order of their coming. A keytab may have many: whoever manages hosts may have
/// collected theirs.
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

std::vector<KeytabAccount> machineAccountsInKeytab(KerberosContext& kerberos,
                                                   const std::string& path) {
  const krb5_context context = kerberos.get();
  const std::string what = "reading keytab " + path;
  Krb5Keytab keytab(context);
  throwIfKrb5(context, krb5_kt_resolve(context, ("FILE:" + path).c_str(), keytab.out()), what);
  krb5_kt_cursor cursor = nullptr;
  throwIfKrb5(context, krb5_kt_start_seq_get(context, keytab.get(), &cursor), what);
  Collection accounts;
  krb5_error_code code = 0;
  while (code == 0) {
    Entry entry(context);
    code = krb5_kt_next_entry(context, keytab.get(), entry.get(), &cursor);
    if (code != 0) break;
    if (auto account = accountOf(context, *entry.get())) accounts.add(std::move(*account));
  }
  (void)krb5_kt_end_seq_get(context, keytab.get(), &cursor);
  if (code != KRB5_KT_END) throwIfKrb5(context, code, what);
  return accounts.take();
}

}  // namespace tolk
