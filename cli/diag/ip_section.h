// "IP Diagnostics": the host's names, its IPv4 addresses and their reverse records.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace joinscope {

/// What reverse lookup says about one address.
struct ReverseNames {
  std::vector<std::string> names;         ///< of its PTR records; empty when there is none
  std::optional<std::string> dnsProblem;  ///< why DNS gave no answer, naming server and limit
};

/// What the section shows without asking anybody.
struct IpFacts {
  std::string shortName;
  std::optional<std::string> interfaceProblem;  ///< why the addresses could not be listed
  std::vector<std::string> addresses;           ///< dotted decimal
};

/// What has to be waited for, asked when its place in the text has come.
struct IpAnswers {
  std::function<ReverseNames(std::size_t)> namesOf;  ///< of an address, by its place in IpFacts
  std::function<std::string()> longName;             ///< when no address has a name
};

/// This host's own facts, without the network.
IpFacts readIpFacts();

/// Writes the section to `out`, all that is known before each wait; why the interfaces could not be
/// listed, or DNS gave no answer, goes to `diag`, which may be null.
void writeIpSection(std::ostream& out, const IpFacts& facts, const IpAnswers& answers,
                    std::ostream* diag);

/// The section on standard output. The reverse records of all addresses are asked for together:
/// silence costs one DNS limit, however many there are.
void ipDiagnostics(std::ostream* diag);

}  // namespace joinscope
