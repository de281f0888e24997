// A directory for the temporary files of one user.
#pragma once

#include <cstddef>

namespace tolk {

/// Writes the path of the current user's private temporary directory, without a slash at its end,
/// into `buffer` and makes the directory when it is missing: /var/orvald/tmp for root, where nobody
/// else can plant anything, else /tmp/orvald-UID. One that is open to others is closed to them. 0;
/// or an errno when it cannot be made, is no directory, belongs to somebody else (EPERM) or does
/// not fit (ERANGE); errno is set as well, and `buffer` holds the path unless that does not fit.
int GetPellionTempDirForCurrentUser(char* buffer, std::size_t size) noexcept;

/// The same for a given path: one directory that only the current user may enter.
int makePrivateDirectory(const char* path) noexcept;

}  // namespace tolk
