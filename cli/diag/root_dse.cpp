// Anonymous reading of root DSEs and their attributes.
#include "cli/diag/root_dse.h"

#include <ostream>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/dn.h"
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
  return readAs(object, name, sinkOf(verbose),
                [](const tolk::ADAttribute& value) { return value.toString(); });
}

std::string readDomainAttribute(const tolk::ADObject& object, const std::string& name,
                                std::ostream* verbose) {
  return readAs(object, name, sinkOf(verbose), [](const tolk::ADAttribute& value) {
    return tolk::DN::domainFromDN(value.toString());
  });
}

std::string readAs(const tolk::ADObject& object, const std::string& name, std::ostream& verbose,
                   const std::function<std::string(const tolk::ADAttribute&)>& convert) {
  if (object.empty()) return {};
  if (!object.attributeExists(name, true)) {
    verbose << prefix(2) << "Missing index: " << name << '\n';
    return {};
  }
  try {
    return convert(object[name]);
  } catch (const tolk::SystemException& e) {
    verbose << prefix(2) << "While accessing index " << name << ": " << tolk::printable(e.what())
            << '\n';
    return {};
  }
}

}  // namespace joinscope
