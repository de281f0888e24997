// What a run meets on its way and works round or leaves out: a name server that stays silent, a
// controller passed over, a wait that ended by its limit. No result carries it, so it is kept here
// until the command tells it on its diagnostic stream.
#pragma once

#include <string>
#include <vector>

namespace tolk {

/// Keeps a line: who (name, address, port), what it did, which limit ended the wait. No line end;
/// foreign text in it has gone through printable(). A line is kept once a process, 256 at most;
/// each call is logged at debug level by the logger of that name.
void noteTrouble(const char* logger, const std::string& line);

/// The lines kept since the last call, in their order.
std::vector<std::string> takeTroubles();

}  // namespace tolk
