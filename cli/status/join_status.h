// --all, the join status report, and the status header of the diagnostic report.
#pragma once

#include <boost/shared_ptr.hpp>
#include <iosfwd>
#include <optional>
#include <string>

#include "facts/agent_state.h"
#include "facts/join_place.h"
#include "tolk/ldap/ad_object.h"

namespace joinscope {

struct TaskContext;

/// The report on standard output; `server` and `verbose` may be null. Returns 0, or 10 on a host
/// that is not joined.
int joinStatusReport(TaskContext& context, const char* server, std::ostream* verbose);

/// The lines from the local host name to the pre-Windows-2000 name, and from the controller to the
/// subnet site with its warning.
void writeJoinFacts(std::ostream& out, const JoinFacts& facts);
void writePlaceFacts(std::ostream& out, const PlaceFacts& facts);

/// The agent's status in words, on standard output, under its heading.
void printStatusHeader(TaskContext& context);

/// These words; no state stands for a host that is not joined.
const char* statusText(std::optional<AgentState> state);

/// When the password of a computer object was changed last (pwdLastSet, MS-ADTS 2.2.26), in local
/// time; "<unavailable>" without an object or a value.
std::string formatPasswordLastSet(const boost::shared_ptr<tolk::ADObject>& object);

}  // namespace joinscope
