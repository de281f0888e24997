// One attempt with the password that somebody gave for this run, and none where it might be the
// last before the account is locked.
#include <ctime>
#include <optional>

#include "facts/directory_reads.h"
#include "facts/gathering.h"
#include "facts/machine_login.h"
#include "facts/refusals.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/stack_scrub.h"
#include "tolk/base/text.h"
#include "tolk/krb5/initial_credentials.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/memory_ccache.h"
#include "tolk/krb5/user_principal.h"

namespace joinscope::facts {
namespace {

constexpr char kWhat[] = "password";

/// Why no attempt is made by what the directory says; "" when one more wrong password is safe.
std::string tooDangerous(const UserAccount& user) {
  if (user.limit == 0 || user.wrongPasswords + 1 < user.limit) return {};
  return std::to_string(user.wrongPasswords) + " of " + std::to_string(user.limit) +
         " wrong passwords that lock the account have been tried";
}

/// The same by what this host remembers, where the directory was not asked.
std::string tooSoon(const std::optional<Refusals::Entry>& before) {
  if (!before || Refusals::mayShow(*before, std::time(nullptr))) return {};
  return "an earlier run was refused, and how many wrong passwords lock the account is not known";
}

class UserLogin {
 public:
  UserLogin(const tolk::KerberosContext& kerberos, const Asking& asking)
      : context_(kerberos.get()), asking_(asking) {}

  /// Publishes how the attempt ended; false when there is no ticket.
  bool run(const Directory& directory) {
    Login login;
    const Asked whole = ask([&] { attempt(directory, login); });
    if (!login.asked.asked() && login.asked.reason.empty()) login.asked = whole;
    asking_.publish([&login](Facts& facts) { facts.kerberos.userLogin = login; });
    return cache_.has_value();
  }

  [[nodiscard]] std::string cacheName() const { return cache_ ? cache_->name() : std::string(); }

 private:
  void attempt(const Directory& directory, Login& login) {
    const std::string owner =
        "user " + tolk::toLower(asking_.question.user) + " of " + asking_.local.join.domain;
    const bool counted = directory.user.read.answered() && directory.policy.read.answered();
    std::optional<Refusals> refusals;
    if (counted) {
      login.asked.reason = tooDangerous(directory.user);
    } else {
      refusals.emplace();
      login.asked.reason = tooSoon(refusals->find(owner, kWhat));
    }
    if (!login.asked.reason.empty()) return;
    login.asked = ask([&] { exchange(login.status); });
    if (!refusals) return;
    if (login.asked.answered()) refusals->noteAccepted(owner, kWhat, std::time(nullptr));
    const bool refused = login.asked.code == KRB5KDC_ERR_PREAUTH_FAILED;
    if (refused) refusals->noteRefused(owner, kWhat, std::time(nullptr));
  }

  void exchange(std::int64_t& status) {
    const std::string& user = asking_.question.user;
    const std::string what = "logging in as " + tolk::printable(user);
    const tolk::Krb5Principal client =
        tolk::userPrincipal(context_, user, asking_.local.join.domain);
    tolk::Krb5InitOptions options(context_);
    tolk::throwIfKrb5(context_, krb5_get_init_creds_opt_alloc(context_, options.out()), what);
    krb5_get_init_creds_opt_set_canonicalize(options.get(), 1);
    krb5_get_init_creds_opt_set_forwardable(options.get(), 0);
    krb5_get_init_creds_opt_set_proxiable(options.get(), 0);
    tolk::InitialExchange exchange(context_, client.get());
    tolk::throwIfKrb5(context_, exchange.begin(options.get()), what);
    tolk::throwIfKrb5(context_, exchange.usePassword(asking_.question.password), what);
    tolk::Krb5CredsContents credentials(context_);
    const krb5_error_code code = exchange.run(credentials.get());
    tolk::scrubStack();
    status = exchange.refusalStatus().value_or(0);
    tolk::throwIfKrb5(context_, code, what);
    cache_.emplace(context_, credentials.get()->client);
    tolk::throwIfKrb5(context_, krb5_cc_store_cred(context_, cache_->handle(), credentials.get()),
                      what);
  }

  krb5_context context_;
  const Asking& asking_;
  std::optional<tolk::MemoryCCache> cache_;
};

}  // namespace

void askUserLogin(const Question& question, const Facts& local, const Publish& publish) {
  if (question.user.empty() || local.join.domain.empty()) return;
  const Facts known = publish.waitFor([](const Facts& facts) {
    const Directory& directory = facts.directory;
    return decided(directory.bind) && (!directory.bind.answered() || decided(directory.user.read));
  });
  if (question.password.empty()) {
    publish([](Facts& facts) { facts.kerberos.userLogin.asked.reason = "no password was given"; });
    return;
  }
  tolk::KerberosContext kerberos;
  useOwnWay(kerberos, question.server);
  const Asking asking{question, local, publish};
  UserLogin login(kerberos, asking);
  const bool good = login.run(known.directory);
  if (good && !known.directory.bind.answered()) {
    bindAndRead(kerberos, {login.cacheName(), question.user}, asking);
  }
}

}  // namespace joinscope::facts
