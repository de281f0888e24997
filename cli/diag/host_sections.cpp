// The text of both sections.
#include "cli/diag/host_sections.h"

#include <algorithm>
#include <iostream>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "tolk/base/text.h"
#include "tolk/net/interfaces.h"

namespace joinscope {
namespace {

void writeNames(std::ostream& out, const ReverseNames& answer, std::ostream& verbose) {
  if (answer.dnsProblem) {
    out << "WARNING: DNS timeout error.  Check DNS configuration\n"
           "or increase the value of velkd.dns.response.maxtime in pellion.conf.\n";
    verbose << prefix(2) << tolk::printable(*answer.dnsProblem) << '\n';
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

void hostDiagnostics(std::ostream* /*verbose*/) {
  writeHostSection(std::cout, readHostFacts());
}

void ipDiagnostics(std::ostream* verbose) {
  const IpFacts facts = readIpFacts();
  ReverseLookups lookups(facts.addresses);
  const IpAnswers answers{.namesOf = [&lookups](std::size_t i) { return lookups.namesOf(i); },
                          .longName = tolk::longLocalHostName};
  writeIpSection(std::cout, facts, answers, sinkOf(verbose));
}

void writeHostSection(std::ostream& out, const HostFacts& facts) {
  out << prefix(0) << "Host Diagnostics\n" << prefix(1) << "uname: ";
  if (facts.system) {
    const utsname& u = *facts.system;
    out << u.sysname << ' ' << u.nodename << ' ' << u.release << ' ' << u.version << ' '
        << u.machine;
  } else {
    out << "failed";
  }
  out << '\n'
      << prefix(1) << "OS: " << facts.osName << '\n'
      << prefix(1) << "Version: " << facts.osVersion << '\n'
      << prefix(1) << "Number of CPUs: " << facts.onlineCpus << '\n';
}

void writeIpSection(std::ostream& out, const IpFacts& facts, const IpAnswers& answers,
                    std::ostream& verbose) {
  out << prefix(0) << "IP Diagnostics\n"
      << prefix(1) << "Local host name: " << facts.shortName << '\n';
  if (facts.interfaceProblem) {
    verbose << prefix(3) << "Problem retrieving IP addresses: " << *facts.interfaceProblem << '\n';
  }
  bool named = false;
  for (std::size_t i = 0; i < facts.addresses.size(); ++i) {
    out << prefix(1) << "Local IP Address: " << facts.addresses[i] << '\n' << std::flush;
    const ReverseNames answer = answers.namesOf(i);
    writeNames(out, answer, verbose);
    named = named || hasName(answer);
  }
  if (named) return;
  out.flush();
  const std::string longName = answers.longName();
  out << prefix(1) << "FQDN host name:" << tolk::printable(longName)
      << (longName.find('.') == std::string::npos ? " (domain missing?)" : "") << '\n';
}

}  // namespace joinscope
