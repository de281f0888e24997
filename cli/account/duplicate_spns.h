// Other objects that claim this host's service principal names.
#pragma once

#include <iosfwd>

#include "tolk/ldap/ad_object.h"

namespace joinscope {

struct TaskContext;

/// Lists on standard output the enabled objects of the forest that hold one of this host's names
/// host/FQDN and host/NETBIOSNAME, when there is more than one object. Nothing on a host that is
/// not joined. `server` and `verbose` may be null. Throws nothing for a failure of the directory.
void showDuplicateSpns(TaskContext& context, const char* server, std::ostream* verbose);

/// The text for the objects that were found, the host's own among them.
void writeDuplicateSpns(std::ostream& out, const tolk::ADObjectList& objects);

}  // namespace joinscope
