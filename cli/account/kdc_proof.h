// What stands behind "is correct": whether the KDC that took the password is the domain's.
#pragma once

namespace joinscope {

struct Run;

/// For the run's binding as a user. As root on a host that is joined to the context's domain
/// and has a key of its account, the user's KDC must show that it knows that key (tolk::proveKdc).
/// Elsewhere there is no secret to test a KDC with; then the proof is that of the bind: the
/// controller opened a ticket of the same KDC, and every byte after that is sealed. Says on
/// the diagnostic stream which one it was. False when the KDC fails: the context then has message
/// and status, as if there were no binding. That is no wrong password; it is "could not be
/// checked".
bool provePassword(const Run& run);

/// After a bind that failed for wrong credentials: a refusal is not signed (RFC 4120, 5.9.1), so
/// that anybody's server can send one. Where provePassword() would have a keytab, says on the
/// diagnostic stream (nothing is done where nobody reads it) whether the realm's KDC takes the
/// computer's own key.
void tellAboutRefusal(const Run& run);

}  // namespace joinscope
