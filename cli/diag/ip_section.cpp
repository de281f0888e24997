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

ReverseNames takeNames(PendingNames& lookup) {
  ReverseNames answer;
  try {
    for (tolk::HostPort& record : lookup.wait()) answer.names.push_back(std::move(record.host));
  } catch (const tolk::DNSUnavailableException& e) {
    answer.dnsProblem = e.what();
  }
  return answer;
}

void writeNames(std::ostream& out, const ReverseNames& answer, std::ostream* diag) {
  if (answer.dnsProblem) {
    out << "WARNING: DNS timeout error.  Check DNS configuration\n"
           "or increase the value of velkd.dns.response.maxtime in pellion.conf.\n";
    if (diag != nullptr) *diag << prefix(2) << tolk::printable(*answer.dnsProblem) << '\n';
    return;
  }
  if (answer.names.empty()) {
    out << prefix(2) << "Not found in DNS!Make sure it is in Reverse Lookup Zone.\n";
  }
  for (const std::string& name : answer.names) {
    if (!name.empty()) out << prefix(1) << "FQDN host name:" << tolk::printable(name) << '\n';
  }
}

bool hasName(const ReverseNames& answer) {
  return std::ranges::any_of(answer.names, [](const std::string& name) { return !name.empty(); });
}

}  // namespace

IpFacts readIpFacts() {
  IpFacts facts{.shortName = tolk::shortLocalHostName(), .interfaceProblem = {}, .addresses = {}};
  try {
    std::list<tolk::InterfaceDescription> interfaces;
    tolk::GetIpAddresses(interfaces, 1, false);
    for (const tolk::InterfaceDescription& interface : interfaces) {
      facts.addresses.push_back(tolk::InetNToA(interface.address));
    }
  } catch (const std::exception& e) {
    facts.interfaceProblem = e.what();
  }
  return facts;
}

void writeIpSection(std::ostream& out, const IpFacts& facts, const IpAnswers& answers,
                    std::ostream* diag) {
  out << prefix(0) << "IP Diagnostics\n"
      << prefix(1) << "Local host name: " << facts.shortName << '\n';
  if (facts.interfaceProblem && diag != nullptr) {
    *diag << prefix(3) << "Problem retrieving IP addresses: " << *facts.interfaceProblem << '\n';
  }
  bool named = false;
  for (std::size_t i = 0; i < facts.addresses.size(); ++i) {
    out << prefix(1) << "Local IP Address: " << facts.addresses[i] << '\n' << std::flush;
    const ReverseNames answer = answers.namesOf(i);
    writeNames(out, answer, diag);
    named = named || hasName(answer);
  }
  if (named) return;
  out.flush();
  const std::string longName = answers.longName();
  out << prefix(1) << "FQDN host name:" << tolk::printable(longName)
      << (longName.find('.') == std::string::npos ? " (domain missing?)" : "") << '\n';
}

void ipDiagnostics(std::ostream* diag) {
  const IpFacts facts = readIpFacts();
  tolk::EventLoop loop;
  std::vector<PendingNames> lookups;
  lookups.reserve(facts.addresses.size());
  for (const std::string& address : facts.addresses) {
    lookups.push_back(tolk::startPtrLookup(loop, address));
  }
  const IpAnswers answers{.namesOf = [&lookups](std::size_t i) { return takeNames(lookups[i]); },
                          .longName = tolk::longLocalHostName};
  writeIpSection(std::cout, facts, answers, diag);
}

}  // namespace joinscope
