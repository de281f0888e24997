// The text of one server's connectivity test; where the answers come from is the caller's business.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include "cli/diag/controller_facts.h"
#include "cli/diag/port_tables.h"
#include "tolk/net/host_port.h"

namespace tolk {
struct Property;
}

namespace joinscope {

/// What a probe found.
struct ProbeVerdict {
  static constexpr int kGood = 0;
  static constexpr int kRefused = 1;
  static constexpr int kTimeout = -1;

  int result = kTimeout;                  ///< any other value counts as kTimeout
  const tolk::Property* limit = nullptr;  ///< the limit that ended the wait, if one did
  std::string message;                    ///< what else there is to say about a failure
  std::string reason = {};                ///< the same, told behind the row instead of in it
  std::optional<double> clockAhead = {};  ///< of a time query: as in ControllerFacts
};

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

/// The port of a row for `entry`: a known port other than 0 of the entry replaces the first row's.
int portOf(const tolk::HostPort& entry, const ServerKind& kind, std::size_t row);

/// The row up to its verdict, without an end of line.
void writeRowLabel(std::ostream& out, const PortRow& row, int port);

/// Ends a row: the verdict on `out`, flushed; before it the message, after it reason and limit that
/// ended the wait, on `diag`, which may be null.
void writeVerdict(std::ostream& out, const ProbeVerdict& verdict, std::ostream* diag);

/// Writes one server's lines to `out`, flushed whenever an answer is waited for, and to `diag`,
/// which may be null, what the rows leave out. Returns whether the first row was good.
bool writeServer(std::ostream& out, const ServerKind& kind, const tolk::HostPort& entry,
                 const ServerAnswers& answers, std::ostream* diag);

}  // namespace joinscope
