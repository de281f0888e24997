// A ticket is stored once more under the name that GSS-API will ask for, so that it asks no KDC
// and no DNS.
#include "tolk/krb5/service_ticket.h"

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

void fetchAs(krb5_context context, krb5_ccache cache, krb5_principal server,
             krb5_principal otherName) {
  const std::string what = "getting a ticket for " + principalText(context, server);
  Krb5Creds ticket(context);
  throwIfKrb5(context, getTicket(context, cache, server, 0, ticket), what);
  Krb5Creds known(context);
  if (getTicket(context, cache, otherName, KRB5_GC_CACHED, known) == 0) return;
  krb5_creds copy = *ticket.get();  // shares all but the name with the ticket
  copy.server = otherName;
  throwIfKrb5(context, krb5_cc_store_cred(context, cache, &copy), what);
}

}  // namespace

void fetchServiceTicket(krb5_context context, krb5_ccache cache, const std::string& service,
                        const std::string& host, const std::string& realm) {
  const Krb5Principal server = servicePrincipal(context, service, host, realm);
  const Krb5Principal without = servicePrincipal(context, service, host, "");
  fetchAs(context, cache, server.get(), without.get());
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
  fetchAs(context, cache, server.get(), asked.get());
}

}  // namespace tolk
