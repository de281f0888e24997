// A group of servers is asked together; each answer is waited for at its place in the text.
#include "cli/diag/root_dse.h"

#include <algorithm>
#include <ostream>
#include <span>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "facts/reading.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/root_dse_reads.h"

namespace joinscope {

namespace {

/// Connections open at one time, so that a large forest does not use up the descriptors.
constexpr std::size_t kReadsTogether = 64;

tolk::ADObject take(tolk::RootDseReads& reads, const std::string& server, std::ostream& verbose) {
  verbose << prefix(1) << "Anonymous LDAP bind to " << tolk::printable(server) << '\n'
          << std::flush;
  try {
    if (reads.waitConnected(server)) {
      verbose << prefix(2) << "Retrieve DC root object\n" << std::flush;
    }
    return reads.take(server);
  } catch (const std::exception& e) {
    tellReadFailure(verbose, e);
  }
  return {};
}

}  // namespace

tolk::ADObject readRootDse(const std::string& server, std::ostream* verbose) {
  tolk::RootDseReads reads({server});
  return take(reads, server, sinkOf(verbose));
}

void readRootDses(const std::vector<std::string>& servers, std::ostream& verbose,
                  const ShowRootDse& show) {
  std::span<const std::string> rest = servers;
  while (!rest.empty()) {
    const auto group = rest.first(std::min(rest.size(), kReadsTogether));
    tolk::RootDseReads reads({group.begin(), group.end()});
    for (const std::string& server : group) show(server, take(reads, server, verbose));
    rest = rest.subspan(group.size());
  }
}

void tellReadFailure(std::ostream& verbose, const std::exception& failure) {
  const bool ofLdap = dynamic_cast<const tolk::LDAPException*>(&failure) != nullptr;
  verbose << prefix(2) << (ofLdap ? "LDAP: " : "Exception: ") << tolk::printable(failure.what())
          << '\n';
}

std::string readAttribute(const tolk::ADObject& object, const std::string& name,
                          std::ostream* verbose) {
  return tellReading(readText(object, name), name, sinkOf(verbose)).value_or("");
}

std::string readDomainAttribute(const tolk::ADObject& object, const std::string& name,
                                std::ostream* verbose) {
  return tellReading(readDomain(object, name), name, sinkOf(verbose)).value_or("");
}

}  // namespace joinscope
