#include "tolk/krb5/service_ticket.h"

#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"

namespace tolk {

void fetchServiceTicket(krb5_context context, krb5_ccache cache, const std::string& service,
                        const std::string& host, const std::string& realm) {
  const std::string what = "getting a ticket for " + service + "/" + host + "@" + realm;
  Krb5Principal client(context);
  throwIfKrb5(context, krb5_cc_get_principal(context, cache, client.out()), what);
  Krb5Principal server(context);
  throwIfKrb5(context,
              krb5_build_principal(context, server.out(), static_cast<unsigned>(realm.size()),
                                   realm.c_str(), service.c_str(), host.c_str(), nullptr),
              what);
  krb5_creds wanted{};
  wanted.client = client.get();
  wanted.server = server.get();
  Krb5Creds ticket(context);
  throwIfKrb5(context, krb5_get_credentials(context, 0, cache, &wanted, ticket.out()), what);
}

}  // namespace tolk
