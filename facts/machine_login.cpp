// One exchange a key, whose request admits no other encryption type than that key's.
#include "facts/machine_login.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <optional>

#include "facts/refusals.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/krb5/initial_credentials.h"
#include "tolk/krb5/kdc_locator.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/net/network_state.h"
#include "tolk/net/sockets.h"

namespace joinscope::facts {
namespace {

constexpr in_port_t kKdcPort = 88;

// A locator is a bare function; each thread asks for itself.
thread_local std::string tServer;

tolk::KdcAddresses locate(const std::string& realm) {
  if (tServer.empty()) return krb5_dc_locator_callback(realm);
  const in_addr address = tolk::NetworkState::getDCInfo(tServer, false)->address.sin_addr;
  return {tolk::socketAddress(address, kKdcPort)};
}

/// The file as it is now: when it changes, refusals of before do not count.
std::string stateOf(const std::string& keytab, std::int64_t version) {
  struct stat state {};
  if (::stat(keytab.c_str(), &state) != 0) return "keytab " + keytab;
  std::string text = "keytab";
  for (const std::int64_t number :
       {static_cast<std::int64_t>(state.st_dev), static_cast<std::int64_t>(state.st_ino),
        static_cast<std::int64_t>(state.st_size), static_cast<std::int64_t>(state.st_mtim.tv_sec),
        static_cast<std::int64_t>(state.st_mtim.tv_nsec), version}) {
    text += ' ' + std::to_string(number);
  }
  return text;
}

std::string nameOf(const Key& key) {
  return key.principal.substr(0, key.principal.rfind('@'));
}

bool isAccountOf(const Key& key, const std::string& realm) {
  const std::string name = nameOf(key);
  return name.size() > 1 && name.ends_with('$') && name.find('/') == std::string::npos &&
         tolk::equalsIgnoringCase(key.realm, realm);
}

}  // namespace

void useOwnWay(tolk::KerberosContext& kerberos, const std::string& server) {
  tServer = server;
  tolk::throwIfKrb5(kerberos.get(), krb5_set_server_locator(kerberos.get(), locate),
                    "setting the search for KDCs");
}

std::string accountToShow(const Facts& local) {
  std::string found;
  for (const Key& key : local.keytab.keys) {
    if (!isAccountOf(key, local.join.domain)) continue;
    if (tolk::equalsIgnoringCase(nameOf(key), local.join.account + "$")) return key.principal;
    if (found.empty()) found = key.principal;
  }
  return found;
}

std::vector<ProvedKey> keysToShow(const Facts& local, const std::string& account) {
  std::int64_t highest = 0;
  for (const Key& key : local.keytab.keys) {
    if (key.principal == account) highest = std::max(highest, key.version);
  }
  std::vector<ProvedKey> keys;
  for (const Key& key : local.keytab.keys) {
    const bool known = std::ranges::any_of(
        keys, [&](const ProvedKey& other) { return other.encryption == key.encryption; });
    if (key.principal != account || key.version != highest || known) continue;
    keys.push_back({.version = key.version,
                    .encryption = key.encryption,
                    .encryptionName = key.encryptionName});
  }
  const std::vector<std::int64_t>& preferred = local.kerberos.config.permitted;
  std::ranges::stable_sort(keys, {}, [&](const ProvedKey& key) {
    return std::ranges::find(preferred, key.encryption) - preferred.begin();
  });
  return keys;
}

/// One run through the keys.
class MachineLogin::Round {
 public:
  Round(const tolk::KerberosContext& kerberos, const std::string& keytab, Kerberos& found)
      : context_(kerberos.get()), keytab_(keytab), found_(found), client_(context_) {
    tolk::throwIfKrb5(context_, krb5_parse_name(context_, found.account.c_str(), client_.out()),
                      "reading the name " + found.account);
    owner_ = stateOf(keytab, found.keys.empty() ? 0 : found.keys.front().version);
  }

  std::unique_ptr<tolk::MemoryCCache> run() {
    blocked_ = std::ranges::any_of(found_.keys, [this](const ProvedKey& key) {
      const auto entry = refusals_.find(owner_, whatOf(key));
      return entry && !Refusals::mayShow(*entry, now_);
    });
    bool ended = false;
    for (ProvedKey& key : found_.keys) {
      if (ended) key.asked.reason = "not shown after the answer to the one before";
      if (ended || mustRest(key)) continue;
      show(key);
      ended = endsRound(key.asked);
    }
    return std::move(cache_);
  }

 private:
  static std::string whatOf(const ProvedKey& key) { return std::to_string(key.encryption); }

  /// Whether the key is not shown, because it or another of them was refused. A key that was good
  /// since the file was written cannot be a wrong one more than once.
  bool mustRest(ProvedKey& key) {
    const auto entry = refusals_.find(owner_, whatOf(key));
    if (entry && !Refusals::mayShow(*entry, now_)) {
      key.refusedAt = entry->last;
      key.asked.reason = "refused by an earlier run, not shown again";
      return true;
    }
    const bool wasGood = entry && entry->count == 0;
    if (!blocked_ || wasGood) return false;
    key.asked.reason = "another key of this keytab was refused";
    return true;
  }

  /// A refused key may be one of many wrong ones; what is said of the account or not said at all
  /// is the same for the others. Only what concerns the encryption type leaves them a question.
  static bool endsRound(const Asked& asked) {
    return !asked.answered() && asked.code != KRB5KDC_ERR_ETYPE_NOSUPP &&
           asked.outcome != Outcome::failed;
  }

  void show(ProvedKey& key) {
    Login login = attempt(key);
    if (login.asked.code == KRB5KRB_AP_ERR_SKEW && kdcTime_) {
      take(found_.login, login);
      // A wrong clock says nothing of key and account, and hides what is wrong with them.
      krb5_set_real_time(context_, static_cast<krb5_timestamp>(*kdcTime_), 0);
      login = attempt(key);
      clockIsKdcs_ = true;
    }
    take(clockIsKdcs_ ? found_.inTime : found_.login, login);
    key.asked = login.asked;
    if (key.asked.answered()) refusals_.noteAccepted(owner_, whatOf(key), now_);
    if (key.asked.code == KRB5KDC_ERR_PREAUTH_FAILED)
      refusals_.noteRefused(owner_, whatOf(key), now_);
  }

  Login attempt(const ProvedKey& key) {
    Login login;
    login.asked = ask([&] { exchange(key, login.status); });
    const bool judged = login.asked.answered() || login.asked.code == KRB5KDC_ERR_PREAUTH_FAILED;
    if (judged) ++found_.attempts;
    return login;
  }

  /// The login is the first that succeeds, else the first that fails.
  static void take(Login& known, const Login& login) {
    if (!known.asked.asked() || (!known.asked.answered() && login.asked.answered())) known = login;
  }

  void exchange(const ProvedKey& key, std::int64_t& status) {
    const std::string what = "logging in as " + found_.account;
    tolk::Krb5Keytab keytab(context_);
    tolk::throwIfKrb5(context_,
                      krb5_kt_resolve(context_, ("FILE:" + keytab_).c_str(), keytab.out()), what);
    tolk::Krb5InitOptions options(context_);
    tolk::throwIfKrb5(context_, krb5_get_init_creds_opt_alloc(context_, options.out()), what);
    constexpr krb5_deltat kLifetimeSeconds = 3600;
    krb5_get_init_creds_opt_set_tkt_life(options.get(), kLifetimeSeconds);
    krb5_get_init_creds_opt_set_forwardable(options.get(), 0);
    krb5_get_init_creds_opt_set_proxiable(options.get(), 0);
    auto type = static_cast<krb5_enctype>(key.encryption);
    krb5_get_init_creds_opt_set_etype_list(options.get(), &type, 1);
    tolk::InitialExchange exchange(context_, client_.get());
    tolk::throwIfKrb5(context_, exchange.begin(options.get()), what);
    tolk::throwIfKrb5(context_, exchange.useKeytab(keytab.get()), what);
    tolk::Krb5CredsContents credentials(context_);
    const krb5_error_code code = exchange.run(credentials.get());
    status = exchange.refusalStatus().value_or(0);
    kdcTime_ = exchange.kdcTime();
    tolk::throwIfKrb5(context_, code, what);
    if (!cache_ && !clockIsKdcs_) keep(credentials.get());
  }

  void keep(krb5_creds* credentials) {
    cache_ = std::make_unique<tolk::MemoryCCache>(context_, credentials->client);
    tolk::throwIfKrb5(context_, krb5_cc_store_cred(context_, cache_->handle(), credentials),
                      "keeping the ticket");
  }

  krb5_context context_;
  const std::string& keytab_;
  Kerberos& found_;
  tolk::Krb5Principal client_;
  Refusals refusals_;
  std::string owner_;
  std::int64_t now_ = std::time(nullptr);
  bool blocked_ = false;      // a key was refused
  bool clockIsKdcs_ = false;  // of the library, from the refusal of this host's on
  std::optional<std::int64_t> kdcTime_;
  std::unique_ptr<tolk::MemoryCCache> cache_;
};

void MachineLogin::run(const std::string& keytab, Kerberos& found) {
  const Asked whole = ask([&] { cache_ = Round(kerberos_, keytab, found).run(); });
  if (found.login.asked.asked()) return;
  found.login.asked.reason =
      whole.answered() ? "no key of the keytab was shown" : "no key was shown: " + whole.reason;
}

}  // namespace joinscope::facts
