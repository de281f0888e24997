// What may be logged of the Kerberos library's trace.
#pragma once

#include <string>
#include <string_view>

namespace tolk {

/// A line of the trace (krb5_set_trace_callback) without its line end, cut before the first salt,
/// encrypted timestamp or key, each of which would let a reader of the log test passwords against
/// it. "" for a line that is not known to be free of such things.
std::string traceWithoutSecrets(std::string_view line);

}  // namespace tolk
