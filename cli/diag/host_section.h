// "Host Diagnostics": the operating system and the number of processors.
#pragma once

#include <sys/utsname.h>

#include <iosfwd>
#include <optional>
#include <string>

namespace joinscope {

/// What the section shows.
struct HostFacts {
  std::optional<utsname> system;  ///< empty when uname(2) failed
  std::string osName;
  std::string osVersion;
  long onlineCpus = 0;  ///< sysconf(_SC_NPROCESSORS_ONLN)
};

HostFacts readHostFacts();
void writeHostSection(std::ostream& out, const HostFacts& facts);

/// The section on standard output; `diag` is not used.
void hostDiagnostics(std::ostream* diag);

}  // namespace joinscope
