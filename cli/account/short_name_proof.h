// What stands behind "is correct" for a user named "SHORT\name": whether that is the domain's name.
#pragma once

namespace joinscope {

struct TaskContext;

/// After the bind as the context's user. A short name counted for the domain's because a controller
/// said so over UDP, which nothing signs; here the directory says it over the bind. False when it
/// says otherwise or cannot be read: the context then has message and status, as if there were no
/// binding. A short name of another domain was put to the KDC, which has decided.
bool proveShortName(TaskContext& context);

}  // namespace joinscope
