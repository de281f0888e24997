// Facts and text of "IP Diagnostics".
#include "cli/diag/ip_section.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <list>
#include <utility>

#include "cli/common/output.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/net/dns.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/interfaces.h"

namespace joinscope {
namespace {

using PendingNames = tolk::Pending<tolk::HostPortList>;

AddressFacts takeNames(std::string address, PendingNames lookup) {
  AddressFacts facts{.address = std::move(address), .names = {}, .dnsProblem = {}};
  try {
    for (tolk::HostPort& record : lookup.wait()) facts.names.push_back(std::move(record.host));
  } catch (const tolk::DNSUnavailableException& e) {
    facts.dnsProblem = e.what();
  }
  return facts;
}

void listAddresses(IpFacts& facts) {
  std::list<tolk::InterfaceDescription> interfaces;
  try {
    tolk::GetIpAddresses(interfaces, 1, false);
  } catch (const std::exception& e) {
    facts.interfaceProblem = e.what();
  }
  tolk::EventLoop loop;
  std::vector<std::pair<std::string, PendingNames>> lookups;
  for (const tolk::InterfaceDescription& interface : interfaces) {
    std::string address = tolk::InetNToA(interface.address);
    PendingNames lookup = tolk::startPtrLookup(loop, address);
    lookups.emplace_back(std::move(address), std::move(lookup));
  }
  for (auto& [address, lookup] : lookups) {
    facts.addresses.push_back(takeNames(std::move(address), std::move(lookup)));
  }
}

bool hasName(const AddressFacts& facts) {
  return std::ranges::any_of(facts.names, [](const std::string& name) { return !name.empty(); });
}

void writeAddress(std::ostream& out, const AddressFacts& facts, std::ostream* diag) {
  out << prefix(1) << "Local IP Address: " << facts.address << '\n';
  if (facts.dnsProblem) {
    out << "WARNING: DNS timeout error.  Check DNS configuration\n"
           "or increase the value of velkd.dns.response.maxtime in pellion.conf.\n";
    if (diag != nullptr) *diag << prefix(2) << tolk::printable(*facts.dnsProblem) << '\n';
    return;
  }
  if (facts.names.empty()) {
    out << prefix(2) << "Not found in DNS!Make sure it is in Reverse Lookup Zone.\n";
  }
  for (const std::string& name : facts.names) {
    if (!name.empty()) out << prefix(1) << "FQDN host name:" << tolk::printable(name) << '\n';
  }
}

}  // namespace

IpFacts readIpFacts() {
  IpFacts facts;
  facts.shortName = tolk::shortLocalHostName();
  listAddresses(facts);
  if (std::ranges::none_of(facts.addresses, hasName)) facts.longName = tolk::longLocalHostName();
  return facts;
}

void writeIpSection(std::ostream& out, const IpFacts& facts, std::ostream* diag) {
  out << prefix(0) << "IP Diagnostics\n"
      << prefix(1) << "Local host name: " << facts.shortName << '\n';
  if (facts.interfaceProblem && diag != nullptr) {
    *diag << prefix(3) << "Problem retrieving IP addresses: " << *facts.interfaceProblem << '\n';
  }
  for (const AddressFacts& address : facts.addresses) writeAddress(out, address, diag);
  if (std::ranges::any_of(facts.addresses, hasName)) return;
  out << prefix(1) << "FQDN host name:" << tolk::printable(facts.longName)
      << (facts.longName.find('.') == std::string::npos ? " (domain missing?)" : "") << '\n';
}

void ipDiagnostics(std::ostream* diag) {
  writeIpSection(std::cout, readIpFacts(), diag);
}

}  // namespace joinscope
