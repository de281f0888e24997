// Lookup and text of service records.
#include "cli/diag/srv_records.h"

#include <exception>
#include <iostream>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "tolk/base/text.h"
#include "tolk/net/dns.h"

namespace joinscope {

int querySrvRecords(const std::string& name, tolk::HostPortList& out, std::ostream* /*verbose*/,
                    bool dnsOnly) {
  std::cout << prefix(2) << "DNS query for: " << name << '\n' << std::flush;
  try {
    return dnsOnly ? tolk::FindSrvFromDns(name, out, 0, 0, 0) : tolk::FindSrv(name, out);
  } catch (const std::exception& e) {
    std::cerr << prefix(2) << "DNS problem: " << tolk::printable(e.what()) << '\n';
    return -1;
  }
}

void printSrvRecords(std::ostream* stream, const tolk::HostPortList& list) {
  std::ostream& out = sinkOf(stream);
  if (list.empty()) {
    out << prefix(2) << "Found no SRV records!\n";
    return;
  }
  out << prefix(2) << "Found SRV records:\n";
  for (const tolk::HostPort& entry : list) {
    out << prefix(3) << tolk::printable(hostAndPort(entry)) << '\n';
  }
}

void printSrvAdvice(std::ostream& stream, const std::string& domain) {
  stream << prefix(2) << "No DC records found in DNS or in orvald.conf.\n"
         << prefix(2) << "Your DNS may be misconfigured!\n"
         << prefix(2) << "If using a Windows DNS, please use NETDIAG on your\n"
         << prefix(2) << "Windows domain controller to diagnose your problem further.\n"
         << prefix(2) << "Otherwise, please add this SRV records to your DNS:\n"
         << prefix(3) << "_ldap._tcp." << domain << " 0 100 389\n";
}

std::string hostAndPort(const tolk::HostPort& entry) {
  if (entry.port == tolk::HostPort::NO_PORT) return entry.host;
  return entry.host + ':' + std::to_string(entry.port);
}

}  // namespace joinscope
