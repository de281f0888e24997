// This host as it knows itself, and what reverse lookup says about its addresses.
#pragma once

#include <sys/utsname.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tolk/net/event_loop.h"
#include "tolk/net/host_port.h"

namespace joinscope {

/// The operating system and its processors.
struct HostFacts {
  std::optional<utsname> system;  ///< empty when uname(2) failed
  std::string osName;
  std::string osVersion;
  long onlineCpus = 0;  ///< sysconf(_SC_NPROCESSORS_ONLN)
};

HostFacts readHostFacts();

/// The host's name and IPv4 addresses, as it knows them itself.
struct IpFacts {
  std::string shortName;
  std::optional<std::string> interfaceProblem;  ///< why the addresses could not be listed
  std::vector<std::string> addresses;           ///< dotted decimal
};

IpFacts readIpFacts();

/// What reverse lookup says about one address.
struct ReverseNames {
  std::vector<std::string> names;         ///< of its PTR records; empty when there is none
  std::optional<std::string> dnsProblem;  ///< why DNS gave no answer, naming server and limit
};

/// The names of many addresses, all asked for together: silence costs one DNS limit, however many
/// there are.
class ReverseLookups {
 public:
  explicit ReverseLookups(const std::vector<std::string>& addresses);

  /// Those of an address, by its place in the list; waits for them. Once each.
  ReverseNames namesOf(std::size_t index);

 private:
  tolk::EventLoop loop_;
  std::vector<tolk::Pending<tolk::HostPortList>> lookups_;
};

}  // namespace joinscope
