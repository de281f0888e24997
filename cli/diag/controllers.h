// What kind of servers the controllers are, from their root DSEs, and which ones stand in the
// host's own site.
#pragma once

#include <iosfwd>
#include <string>

#include "tolk/ldap/ad_object.h"
#include "tolk/net/host_port.h"

namespace joinscope {

struct TaskContext;

/// Replaces `out` by the controllers of the context's site as the directory lists them, on port
/// 389; empty when the directory cannot be asked. `verbose` may be null, here and below.
void siteControllers(TaskContext& context, tolk::HostPortList& out, std::ostream* verbose);

/// Prints what each server's root DSE says, in list order, and the forest's name. The root DSEs of
/// all servers are read together. Fills the context's configuration naming context and forest name
/// where they are empty, and its Windows 2000 flag.
void showControllers(TaskContext& context, const tolk::HostPortList& servers,
                     std::ostream* verbose);

/// Writes one server: `rootDse` may be no object. Fills the context as showControllers does.
void writeController(std::ostream& out, TaskContext& context, const std::string& name,
                     tolk::ADObject rootDse, std::ostream& verbose);

}  // namespace joinscope
