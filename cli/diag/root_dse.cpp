// Anonymous reading of root DSEs and their attributes.
#include "cli/diag/root_dse.h"

#include <ostream>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "facts/reading.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/root_dse_reads.h"
#include "tolk/net/event_loop.h"

namespace joinscope {

tolk::ADObject readRootDse(const std::string& server, std::ostream* verbose) {
  tolk::EventLoop loop;
  tolk::RootDseReads reads(loop, {server});
  return readRootDse(reads, server, sinkOf(verbose));
}

tolk::ADObject readRootDse(tolk::RootDseReads& reads, const std::string& server,
                           std::ostream& verbose) {
  verbose << prefix(1) << "Anonymous LDAP bind to " << tolk::printable(server) << '\n'
          << std::flush;
  try {
    if (reads.waitConnected(server)) {
      verbose << prefix(2) << "Retrieve DC root object\n" << std::flush;
    }
    return reads.take(server);
  } catch (const tolk::LDAPException& e) {
    verbose << prefix(2) << "LDAP: " << tolk::printable(e.what()) << '\n';
  } catch (const std::exception& e) {
    verbose << prefix(2) << "Exception: " << tolk::printable(e.what()) << '\n';
  }
  return {};
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
