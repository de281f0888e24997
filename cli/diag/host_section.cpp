// Facts and text of "Host Diagnostics".
#include "cli/diag/host_section.h"

#include <unistd.h>

#include <iostream>

#include "cli/common/output.h"
#include "tolk/base/os_version.h"

namespace joinscope {

HostFacts readHostFacts() {
  HostFacts facts;
  utsname system{};
  if (uname(&system) == 0) facts.system = system;
  tolk::OSVersion(facts.osName, facts.osVersion);
  facts.onlineCpus = sysconf(_SC_NPROCESSORS_ONLN);
  return facts;
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

void hostDiagnostics(std::ostream* /*diag*/) {
  writeHostSection(std::cout, readHostFacts());
}

}  // namespace joinscope
