// The `--test` task and the connectivity tests of `--diag`.
#include "cli/diag/connectivity.h"

#include <cstdint>
#include <iostream>
#include <utility>
#include <vector>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "cli/diag/server_text.h"
#include "cli/diag/srv_records.h"
#include "facts/servers.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

void append(std::vector<ProbeTarget>& targets, const ServerKind& kind,
            const tolk::HostPortList& entries) {
  for (const tolk::HostPort& entry : entries) targets.push_back({&kind, entry});
}

bool writeNext(ProbeRun& run, std::size_t index, std::ostream& verbose) {
  const ServerAnswers answers{.resolve = [&] { return run.address(index); },
                              .probe = [&](std::size_t row) { return run.port(index, row); },
                              .facts = [&] { return run.controller(index); }};
  const ProbeTarget& target = run.target(index);
  return writeServer(std::cout, *target.kind, target.entry, answers, verbose);
}

/// Writes the next servers of the run, those of `entries`, and keeps the reachable ones.
void testList(ProbeRun& run, std::size_t& next, tolk::HostPortList& entries,
              std::ostream& verbose) {
  tolk::HostPortList reachable;
  for (tolk::HostPort& entry : entries) {
    if (writeNext(run, next++, verbose)) reachable.push_back(std::move(entry));
  }
  entries = std::move(reachable);
}

tolk::HostPortList single(const char* server, std::int32_t port) {
  tolk::HostPort entry;
  entry.host = tolk::toLower(server);
  entry.port = port;
  return {entry};
}

}  // namespace

tolk::HostPortList namedController(const char* server) {
  return single(server, 389);
}
tolk::HostPortList namedCatalog(const char* server) {
  return single(server, 3268);
}

int runConnectivityTest(TaskContext& context, const char* server, std::ostream* verbose) {
  std::cout << prefix(0) << "Domain Diagnostics:\n";
  if (context.domain.empty()) {
    std::cout << prefix(1) << "Domain not specified\n" << std::flush;
    return 0;
  }
  std::cout << prefix(1) << "Domain: " << context.domain << '\n';
  tolk::HostPortList controllers;
  tolk::HostPortList catalogs;
  if (server != nullptr) {
    controllers = namedController(server);
    catalogs = namedCatalog(server);
  } else {
    querySrvRecords("_ldap._tcp." + context.domain, controllers, verbose, false);
    querySrvRecords("_gc._tcp." + context.domain, catalogs, verbose, false);
  }
  if (!controllers.empty()) testConnectivity(context, catalogs, controllers, verbose);
  std::cout.flush();
  return 0;
}

void testConnectivity(TaskContext& context, tolk::HostPortList& gcs, tolk::HostPortList& dcs,
                      std::ostream* verbose) {
  std::cout << prefix(1) << "Testing Active Directory connectivity:\n";
  std::vector<ProbeTarget> targets;
  append(targets, kGlobalCatalog, gcs);
  append(targets, kDomainController, dcs);
  // What the questions beside the rows tell is for the diagnostic stream alone.
  std::ostream& sink = sinkOf(verbose);
  ProbeRun run(std::move(targets), isRead(sink) ? tolk::toUpper(context.domain) : std::string());
  std::size_t next = 0;
  testList(run, next, gcs, sink);
  testList(run, next, dcs, sink);
}

bool testServer(const tolk::HostPort& entry, bool isGlobalCatalog, std::ostream* verbose) {
  ProbeRun run({{isGlobalCatalog ? &kGlobalCatalog : &kDomainController, entry}});
  return writeNext(run, 0, sinkOf(verbose));
}

int testLdapUdp(const std::string& host, std::ostream* verbose) {
  const PortRow row{"ldap", 389, Probe::ldapUdp};
  writeRowLabel(std::cout, row, row.port);
  std::cout.flush();
  const ProbeVerdict verdict = askLdapUdp(host);
  writeVerdict(std::cout, verdict, sinkOf(verbose));
  return verdict.result;
}

int testNtp(const char* host, std::ostream* verbose) {
  const ProbeVerdict verdict = askTime(host);
  if (!verdict.message.empty()) sinkOf(verbose) << tolk::printable(verdict.message) << '\n';
  return verdict.result;
}

}  // namespace joinscope
