// "IP Diagnostics": the host's names, its IPv4 addresses and their reverse records.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace joinscope {

/// One local address and what reverse lookup says about it.
struct AddressFacts {
  std::string address;                    ///< dotted decimal
  std::vector<std::string> names;         ///< of its PTR records; empty when there is none
  std::optional<std::string> dnsProblem;  ///< why DNS gave no answer, naming the limit
};

/// What the section shows.
struct IpFacts {
  std::string shortName;
  std::optional<std::string> interfaceProblem;  ///< why the addresses could not be listed
  std::vector<AddressFacts> addresses;
  std::string longName;  ///< shown when no address has a name
};

/// Asks for the reverse records of all addresses together: silence costs one DNS limit, however
/// many there are.
IpFacts readIpFacts();

/// Writes the section to `out`; why the interfaces could not be listed, or DNS gave no answer, goes
/// to `diag`, which may be null.
void writeIpSection(std::ostream& out, const IpFacts& facts, std::ostream* diag);

/// The section on standard output.
void ipDiagnostics(std::ostream* diag);

}  // namespace joinscope
