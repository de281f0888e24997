// A ticket is stored once more under the name that GSS-API will ask for, so that it asks no KDC
// and no DNS.
#include "tolk/krb5/service_ticket.h"

#include <initializer_list>
#include <string_view>

#include "tolk/base/text.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"

namespace tolk {
namespace {

Krb5Principal servicePrincipal(krb5_context context, const std::string& service,
                               const std::string& host, const std::string& realm) {
  Krb5Principal server(context);
  throwIfKrb5(context,
              krb5_build_principal(context, server.out(), static_cast<unsigned>(realm.size()),
                                   realm.c_str(), service.c_str(), host.c_str(), nullptr),
              "naming " + service + "/" + host);
  return server;
}

Krb5Principal controllerPrincipal(krb5_context context, const std::string& host,
                                  const std::string& realm) {
  const std::string domain = toLower(realm);
  Krb5Principal server(context);
  throwIfKrb5(context,
              krb5_build_principal(context, server.out(), static_cast<unsigned>(realm.size()),
                                   realm.c_str(), "ldap", host.c_str(), domain.c_str(), nullptr),
              "naming ldap/" + host + "/" + domain);
  return server;
}

/// Looks for a ticket in `cache`, and unless `options` say KRB5_GC_CACHED asks the KDC for it.
krb5_error_code getTicket(krb5_context context, krb5_ccache cache, krb5_principal server,
                          krb5_flags options, Krb5Creds& ticket) {
  Krb5Principal client(context);
  krb5_error_code code = krb5_cc_get_principal(context, cache, client.out());
  if (code != 0) return code;
  krb5_creds wanted{};
  wanted.client = client.get();
  wanted.server = server;
  return krb5_get_credentials(context, options, cache, &wanted, ticket.out());
}

bool isSame(const krb5_data& left, const krb5_data& right) {
  return std::string_view(left.data, left.length) == std::string_view(right.data, right.length);
}

/// Puts the ticket into the cache under another name, in place of those it holds of that name.
void storeAs(krb5_context context, krb5_ccache cache, const krb5_creds& ticket, krb5_principal name,
             const std::string& what) {
  constexpr int kMostOfOneName = 16;
  for (int i = 0; i < kMostOfOneName; ++i) {
    Krb5Creds known(context);
    if (getTicket(context, cache, name, KRB5_GC_CACHED, known) != 0) break;
    if (isSame(known.get()->ticket, ticket.ticket)) return;
    throwIfKrb5(context, krb5_cc_remove_cred(context, cache, 0, known.get()), what);
  }
  krb5_creds copy = ticket;  // shares all but the name with the ticket
  copy.server = name;
  throwIfKrb5(context, krb5_cc_store_cred(context, cache, &copy), what);
}

void fetchAs(krb5_context context, krb5_ccache cache, krb5_principal server,
             std::initializer_list<krb5_principal> otherNames) {
  const std::string what = "getting a ticket for " + principalText(context, server);
  Krb5Creds ticket(context);
  throwIfKrb5(context, getTicket(context, cache, server, 0, ticket), what);
  for (krb5_principal name : otherNames) storeAs(context, cache, *ticket.get(), name, what);
}

}  // namespace

void fetchServiceTicket(krb5_context context, krb5_ccache cache, const std::string& service,
                        const std::string& host, const std::string& realm) {
  const Krb5Principal server = servicePrincipal(context, service, host, realm);
  const Krb5Principal without = servicePrincipal(context, service, host, "");
  fetchAs(context, cache, server.get(), {without.get()});
}

void fetchControllerTicket(krb5_context context, krb5_ccache cache, const std::string& host,
                           const std::string& realm) {
  const Krb5Principal controller = controllerPrincipal(context, host, realm);
  const Krb5Principal server = servicePrincipal(context, "ldap", host, realm);
  const Krb5Principal without = servicePrincipal(context, "ldap", host, "");
  fetchAs(context, cache, controller.get(), {server.get(), without.get()});
}

void fetchServiceTicketAs(krb5_context context, krb5_ccache cache, const std::string& principal,
                          const std::string& service, const std::string& host) {
  Krb5Principal client(context);
  throwIfKrb5(context, krb5_cc_get_principal(context, cache, client.out()), "reading a cache");
  Krb5Principal server(context);
  // A name without a realm is not to get that of the configuration, which need not have one.
  const bool named = principal.find('@') != std::string::npos;
  throwIfKrb5(context,
              krb5_parse_name_flags(context, principal.c_str(),
                                    named ? 0 : KRB5_PRINCIPAL_PARSE_NO_REALM, server.out()),
              "parsing the service name \"" + printable(principal) + "\"");
  if (!named) {
    const krb5_data& realm = client.get()->realm;
    throwIfKrb5(context,
                krb5_set_principal_realm(context, server.get(),
                                         std::string(realm.data, realm.length).c_str()),
                "naming " + printable(principal));
  }
  const Krb5Principal asked = servicePrincipal(context, service, host, "");
  fetchAs(context, cache, server.get(), {asked.get()});
}

}  // namespace tolk
