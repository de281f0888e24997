// "Host Diagnostics": the operating system and the number of processors; and "IP Diagnostics": the
// host's names, its IPv4 addresses and their reverse records.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

#include "facts/host.h"

namespace joinscope {

/// The sections on standard output; `verbose`, which may be null, is told why the interfaces could
/// not be listed or DNS gave no answer.
void hostDiagnostics(std::ostream* verbose);
void ipDiagnostics(std::ostream* verbose);

/// What has to be waited for, asked when its place in the text has come.
struct IpAnswers {
  std::function<ReverseNames(std::size_t)> namesOf;  ///< of an address, by its place in IpFacts
  std::function<std::string()> longName;             ///< when no address has a name
};

/// Writes a section to `out`, all that is known before each wait.
void writeHostSection(std::ostream& out, const HostFacts& facts);
void writeIpSection(std::ostream& out, const IpFacts& facts, const IpAnswers& answers,
                    std::ostream& verbose);

}  // namespace joinscope
