// The text of one server's connectivity test; where the answers come from is the caller's business.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

#include "facts/servers.h"

namespace joinscope {

/// Gives the answers as the text comes to need them; both may wait.
struct ServerAnswers {
  /// kGood when the host has an address.
  std::function<ProbeVerdict()> resolve;
  /// The verdict on one row of the table.
  std::function<ProbeVerdict(std::size_t row)> probe;
  /// What else was learnt of a controller; asked for after the last row, and only for somebody who
  /// reads it.
  std::function<ControllerFacts()> facts;
};

/// "good", "refused" or "timeout".
const char* verdictText(int result);

/// The row up to its verdict, without an end of line.
void writeRowLabel(std::ostream& out, const PortRow& row, int port);

/// Ends a row: the verdict on `out`, flushed; before it the message, after it reason and limit that
/// ended the wait, on `verbose`.
void writeVerdict(std::ostream& out, const ProbeVerdict& verdict, std::ostream& verbose);

/// Writes one server's lines to `out`, flushed whenever an answer is waited for, and to `verbose`
/// what the rows leave out. Returns whether the first row was good.
bool writeServer(std::ostream& out, const ServerKind& kind, const tolk::HostPort& entry,
                 const ServerAnswers& answers, std::ostream& verbose);

/// "This clock is 94 s ahead of HOST (LDAP +94 s, NTP +93.8 s); Kerberos refuses 300 s", or what
/// Kerberos makes of more; empty when nothing was measured. `host` is safe to print.
std::string clockText(const std::string& host, const ControllerFacts& facts);

/// One line for each thing that there is to say; at most the clock's for a sound controller.
void writeFacts(std::ostream& verbose, const std::string& host, const ControllerFacts& facts);

}  // namespace joinscope
