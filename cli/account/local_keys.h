// The keys that this host has for its computer account.
#pragma once

#include <iosfwd>

namespace joinscope {

struct TaskContext;

/// The version of the key that was written last, of those that the keytab holds for the realm of
/// the context's domain (compared byte by byte); of keys written in the same second the first in
/// the file. `verbose`, which may be null, gets a line for each of these keys. The keytab is opened
/// for reading only. Throws KerberosException with the Kerberos code: the keytab cannot be read, or
/// (code 0) the context has no KerberosContext, or there is no such key.
int latestLocalKeyVersion(TaskContext& context, std::ostream* verbose);

}  // namespace joinscope
