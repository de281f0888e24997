// Whether a user's password is right: by Kerberos and by NTLM. Nothing is changed.
#pragma once

#include <iosfwd>

namespace joinscope {

struct TaskContext;

/// Binds to the context's domain as its user. Also the check of credentials before other tasks,
/// which then find the binding in the context. Unless `quiet`, says on standard output that the
/// password is correct, which first takes the proof of provePassword(); always why there is no
/// binding or no proof. `server` and `verbose` may be null. Returns
/// 0, 7 without credentials or domain, 6 without the proof, else the binding's status.
int checkPassword(TaskContext& context, const char* server, std::ostream* verbose, bool quiet);

/// Has a controller of the context's domain check an NTLM logon over SMB. The rest as above; why
/// the password was refused or could not be checked goes to standard error. Returns 0, 7 without
/// credentials or domain and in FIPS mode, 160 for a refused logon, 159 when it could not be
/// tried.
int checkNtlmPassword(TaskContext& context, const char* server, std::ostream* verbose, bool quiet);

}  // namespace joinscope
