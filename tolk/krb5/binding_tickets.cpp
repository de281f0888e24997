// The tickets are copies in a memory cache of their own, so that nobody else's cache grows by
// what a bind fetches; only with `inPlace` are they not.
#include "tolk/krb5/binding_tickets.h"

#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/service_ticket.h"
#include "tolk/krb5/user_principal.h"

namespace tolk {
namespace {

bool meansWrongPassword(krb5_error_code code) noexcept {
  return code == KRB5KDC_ERR_PREAUTH_FAILED || code == KRB5KRB_AP_ERR_BAD_INTEGRITY ||
         code == KRB5_LIBOS_CANTREADPWD;
}

std::string_view textOf(const krb5_data& data) noexcept {
  return {data.data, data.length};
}

bool isComputerOfOtherRealm(krb5_const_principal client, const std::string& realm) noexcept {
  return client->length == 1 && textOf(client->data[0]).ends_with('$') &&
         textOf(client->realm) != realm;
}

}  // namespace

BindingTickets::BindingTickets(KerberosContext& kerberos) noexcept
    : kerberos_(kerberos), client_(kerberos.get()), named_(kerberos.get()), own_(kerberos.get()) {}

boost::shared_ptr<BindingTickets> BindingTickets::forUser(KerberosContext& kerberos,
                                                          const std::string& user,
                                                          const std::string& domain) {
  boost::shared_ptr<BindingTickets> tickets(new BindingTickets(kerberos));
  tickets->client_ = userPrincipal(kerberos.get(), user, domain);
  tickets->startOwnCache(tickets->client_.get());
  tickets->needsTicket_ = true;
  return tickets;
}

boost::shared_ptr<BindingTickets> BindingTickets::fromCache(KerberosContext& kerberos,
                                                            const std::string& cacheName,
                                                            bool inPlace) {
  const krb5_context context = kerberos.get();
  const std::string what = "opening credential cache " + cacheName;
  boost::shared_ptr<BindingTickets> tickets(new BindingTickets(kerberos));
  throwIfKrb5(context, krb5_cc_resolve(context, cacheName.c_str(), tickets->named_.out()), what);
  throwIfKrb5(context,
              krb5_cc_get_principal(context, tickets->named_.get(), tickets->client_.out()), what);
  if (inPlace) return tickets;
  tickets->startOwnCache(tickets->client_.get());
  throwIfKrb5(context, krb5_cc_copy_creds(context, tickets->named_.get(), tickets->own_.get()),
              what);
  return tickets;
}

void BindingTickets::obtain(const InitialCredentialsCallback& callback, const LdapServer& server) {
  if (needsTicket_) {
    const krb5_error_code code = ask(callback);
    const std::string what =
        "getting initial credentials of " + principalText(kerberos_.get(), client_.get());
    if (meansWrongPassword(code) || code == KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN)
      throw BaseException(
          what + ": " + krb5Message(kerberos_.get(), code),
          meansWrongPassword(code) ? BindError::kInvalidCredentials : BindError::kUnknownUser);
    throwIfKrb5(kerberos_.get(), code, what);
    needsTicket_ = false;
  }
  try {
    fetch(server);
  } catch (const KerberosException& failure) {
    if (failure.code() != KRB5KDC_ERR_TGT_REVOKED || ask(callback) != 0) throw;
    fetch(server);
  }
}

void BindingTickets::fetch(const LdapServer& server) {
  try {
    fetchByName(server);
  } catch (const KerberosException& failure) {
    if (failure.code() != KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN ||
        !isComputerOfOtherRealm(client_.get(), server.realm))
      throw;
    throw BaseException(failure.what(), BindError::kJoinedToOtherDomain);
  }
}

void BindingTickets::fetchByName(const LdapServer& server) {
  try {
    fetchControllerTicket(kerberos_.get(), cache(), server.host, server.realm);
  } catch (const KerberosException& failure) {
    if (failure.code() != KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN || !server.named) throw;
    fetchServiceTicket(kerberos_.get(), cache(), "ldap", server.host, server.realm);
    const std::string host = printable(server.host);
    noteTrouble("tolk.krb5", "The domain has no controller by the name of ldap/" + host + "/" +
                                 printable(toLower(server.realm)) + ": " + host +
                                 " is taken for one because it was named");
  }
}

krb5_error_code BindingTickets::ask(const InitialCredentialsCallback& callback) {
  if (callback.function == nullptr) return KRB5_LIBOS_CANTREADPWD;
  Krb5CredsContents credentials(kerberos_.get());
  const krb5_error_code code =
      callback.function(kerberos_.get(), credentials.get(), client_.get(), callback.data.get());
  if (code != 0) return code;
  startOwnCache(credentials.get()->client);
  return krb5_cc_store_cred(kerberos_.get(), own_.get(), credentials.get());
}

void BindingTickets::startOwnCache(krb5_principal client) {
  const krb5_context context = kerberos_.get();
  const std::string what = "making a memory cache";
  Krb5OwnCache fresh(context);
  throwIfKrb5(context, krb5_cc_new_unique(context, "MEMORY", nullptr, fresh.out()), what);
  throwIfKrb5(context, krb5_cc_initialize(context, fresh.get(), client), what);
  own_ = std::move(fresh);
}

krb5_ccache BindingTickets::cache() const noexcept {
  return own_.get() != nullptr ? own_.get() : named_.get();
}

std::string BindingTickets::cacheName() const {
  const krb5_context context = kerberos_.get();
  char* name = nullptr;
  throwIfKrb5(context, krb5_cc_get_full_name(context, cache(), &name), "naming the cache");
  std::string text = name;
  krb5_free_string(context, name);
  return text;
}

}  // namespace tolk
