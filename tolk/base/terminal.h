// The password prompt.
#pragma once

#include "tolk/base/shredder.h"

/// Reads one line from the terminal without echo (/dev/tty, else standard input with the prompt on standard error).
/// Returns a static buffer of the process that the caller overwrites with zeros after copying; an empty string at end of
/// input. Echo is restored also when a signal arrives, which is then raised again.
char* orv_getpass(const char* prompt);

namespace tolk {

/// The same into locked memory; the prompt's buffer is wiped.
Shredder promptPassword(const char* prompt);

}  // namespace tolk
