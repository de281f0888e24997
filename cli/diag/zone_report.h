// The zones of the forest, at the end of the "Domain Diagnostics" section.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "tolk/ldap/ad_object.h"

namespace joinscope {

struct TaskContext;

/// Prints the zone listing on standard output. `server` and `verbose` may be null.
void zoneReport(TaskContext& context, const char* server, std::ostream* verbose);

/// Reads the zones of all layouts into the context, once a run: from a global catalog, or from the
/// domain when there is none. False when they could not be read; what went wrong with the bindings
/// is then on standard output, what went wrong with a search on `verbose`.
bool loadZones(TaskContext& context, const char* server, std::ostream* verbose);

/// Prints the zones of one layout on standard output.
void printZones(const tolk::ADObjectList& zones, const std::string& layoutName);

/// The same on any stream: nothing for an empty list, else a heading and one line a zone.
void writeZones(std::ostream& out, const tolk::ADObjectList& zones, const std::string& layoutName);

/// What the report shows for a zone's version marker, "4.x" for example; "Unknown" for another.
std::string_view zoneVersionText(std::string_view marker) noexcept;

}  // namespace joinscope
