// Whether this host can talk to the domain's controllers and global catalogs: the `--test` task and
// the list test of
// `--diag`.
#pragma once

#include <iosfwd>
#include <string>

#include "tolk/net/host_port.h"

namespace joinscope {

struct TaskContext;

/// The `--test` task: finds the servers of the context's domain, or takes `server` (may be null),
/// and tests them. Always returns 0. `verbose` may be null, here and below.
int runConnectivityTest(TaskContext& context, const char* server, std::ostream* verbose);

/// Probes every entry of both lists and removes those whose LDAP or global-catalog port does not
/// answer. The waits for all servers overlap; the text comes in list order, global catalogs first.
void testConnectivity(TaskContext& context, tolk::HostPortList& gcs, tolk::HostPortList& dcs,
                      std::ostream* verbose);

/// Tests one server; returns whether its first port answers.
bool testServer(const tolk::HostPort& entry, bool isGlobalCatalog, std::ostream* verbose);

/// Asks a host for its root DSE over UDP port 389 (MS-ADTS 6.3.3) and prints the line of that port.
/// Returns 0 for an entry, 1 for an answer without one, -1 for no answer. Sets
/// PN::LDAP_BIND_TIMEOUT to 5 for the rest of the run.
int testLdapUdp(const std::string& host, std::ostream* verbose);

/// Asks a host for the time; prints nothing. Returns 0, -1 without an answer in time, 1 after
/// another failure; the reason goes to `verbose`.
int testNtp(const char* host, std::ostream* verbose);

/// The lists that stand for a server named by the user: its LDAP port, its global-catalog port; the
/// name in lower case.
tolk::HostPortList namedController(const char* server);
tolk::HostPortList namedCatalog(const char* server);

}  // namespace joinscope
