// How the Kerberos library finds and asks key distribution centers: through the agent's controller
// discovery, not through its own configuration and search.
#pragma once

#include <string>

#include "tolk/krb5/kdc_exchange.h"
#include "tolk/krb5/krb5_library.h"

/// Names the KDCs of `realm`, the most promising first; an empty list means that none is known. May
/// throw.
using krb5_dc_locator_callback_type = tolk::KdcAddresses (*)(const std::string& realm);

/// The agent's own locator: the controllers that tolk::NetworkState knows for the realm's domain.
tolk::KdcAddresses krb5_dc_locator_callback(const std::string& realm);

/// Makes every KDC exchange of `context` go to the servers that `locator` names, over TCP, within
/// PN::KRB5_KDC_TIMEOUT; the library itself neither searches for KDCs nor sends to any, whatever
/// its configuration says. A realm without a KDC gives KRB5_REALM_UNKNOWN, silence
/// KRB5_KDC_UNREACH. `context` must be one of a tolk::KerberosContext, else EINVAL comes back.
krb5_error_code krb5_set_server_locator(krb5_context context,
                                        krb5_dc_locator_callback_type locator);
