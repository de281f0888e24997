// The password prompt.
#pragma once

#include "tolk/base/shredder.h"

/// Reads one line from the terminal without echo (/dev/tty, else standard input with the prompt on
/// standard error) and waits for it without limit. Returns a static buffer of the process in locked
/// memory that the caller overwrites with zeros after copying; an empty string at end of input, and
/// for a line of more than 1024 bytes: no directory password is that long, and a cut one would be
/// tried as a wrong password. When a signal (INT, TERM, HUP, QUIT, TSTP) arrives, echo
/// and signal actions are restored and the signal is raised again; after a stop the prompt starts
/// anew, after any other signal that does not end the process the answer is empty. One thread at a
/// time.
char* orv_getpass(const char* prompt);

namespace tolk {

/// The same into a string of its own; the prompt's buffer is wiped.
Shredder promptPassword(const char* prompt);

/// The first line of standard input that was not read yet, without its end ("\r\n" too), in locked
/// memory from the first byte on; empty at the end of the input. Throws IOException when it cannot
/// be read or has more than 1024 bytes.
Shredder readSecretLine();

}  // namespace tolk
