// One address of a controller, asked everything that needs no credentials; each function asks once.
#pragma once

#include <functional>
#include <string>

#include "facts/dns_answers.h"
#include "facts/subjects/network.h"

namespace joinscope::facts {

/// Starts the netlogon ping by UDP and TCP and a read of the root DSE. `endpoint` is filled in as
/// the answers come and must stay where it is; `pinged` is called when a ping has been answered.
void probeDirectory(const Inquiry& inquiry, const std::string& domain, Endpoint& endpoint,
                    const std::function<void()>& pinged);

/// Starts the other ports: Kerberos, password changes, file service, catalog, time.
void probeServices(const Inquiry& inquiry, const std::string& domain, Endpoint& endpoint);

/// The catalog's port alone.
void probeCatalog(const Inquiry& inquiry, Endpoint& endpoint);

}  // namespace joinscope::facts
