// Other objects that claim this host's service principal names.
#pragma once

#include <iosfwd>
#include <vector>

#include "facts/computer_object.h"

namespace joinscope {

struct TaskContext;

/// Lists on standard output the enabled objects of the forest that hold one of this host's names
/// host/FQDN and host/NETBIOSNAME, when there is more than one object. Nothing on a host that is
/// not joined. `server` and `verbose` may be null. Throws nothing for a failure of the directory.
void showDuplicateSpns(TaskContext& context, const char* server, std::ostream* verbose);

/// The text for those who were found, the host itself among them.
void writeDuplicateSpns(std::ostream& out, const std::vector<Claimant>& claimants);

}  // namespace joinscope
