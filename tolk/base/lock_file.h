// The daemon's lock file: a POSIX record lock over the whole file, so that the holder's process id
// can be asked for (fcntl(2), F_GETLK).
#pragma once

#include <sys/types.h>

/// Tries to take the lock at `path` without waiting and without creating the file. `holder` becomes
/// the id of the other process that holds it, 0 when none does, -1 when that is unknown (also when
/// the holder lies outside this PID namespace). Where the file may only be read the lock is not
/// taken, only asked about. Returns a descriptor for OrvUnlock, also when another process holds the
/// lock, or when the file does not exist and thus nobody holds it; -1 when the file cannot be
/// examined. A process that closes any other descriptor of the file loses its lock (fcntl(2)).
int OrvLock(const char* path, pid_t* holder);

/// Releases the lock, if it was taken, and closes the descriptor; -1 is ignored.
void OrvUnlock(int fd);
