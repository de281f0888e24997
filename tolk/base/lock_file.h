// The daemon's lock file: a POSIX record lock over the whole file, so that the holder's process id can be asked for
// (fcntl(2), F_GETLK).
#pragma once

#include <sys/types.h>

/// Tries to take the lock at `path` without waiting and without creating the file. `holder` becomes the id of the process that
/// holds it, 0 when none did, -1 when that is unknown. Returns a descriptor for OrvUnlock (also when another holds the lock, or when
/// the file does not exist and thus nobody does), or -1 when the file cannot be examined.
int OrvLock(const char* path, pid_t* holder);

/// Releases the lock and closes the descriptor.
void OrvUnlock(int fd);
