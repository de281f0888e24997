// Whom the run acts for: a named user, the real user's own tickets, or the machine.
#pragma once

namespace joinscope {

struct Options;
struct UserCredentials;

/// Completes `credentials` and attaches them to `options` where there are any: a user without a
/// password is asked for it on the terminal, a password without a user is the administrator's, and
/// with neither the real user's own credential cache is looked for (and shown, but never used, for
/// root).
void resolveCredentials(UserCredentials& credentials, Options& options);

}  // namespace joinscope
