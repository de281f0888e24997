// An NTLM logon that a controller checks over SMB.
#pragma once

namespace joinscope {

struct TaskContext;

/// Logs the context's user on at a controller of its domain; `server`, which may be null, names
/// one. The password is wiped. Returns 0, or the NT status with which the controller refuses.
/// Throws tolk::TOLKException when it could not be tried.
int ntlmLogon(TaskContext& context, const char* server);

}  // namespace joinscope
