// The usage text: the help of the command, and the answer to every wrong command line.
#pragma once

#include <iosfwd>

namespace joinscope {

/// True when /usr/bin/journalctl exists and this process may execute it.
bool OSSupportSystemdJournal();

/// Writes `message` (null for none) and a line end, then the usage text, to standard output. The
/// journal options are left out where the system keeps no journal.
void usage(const char* message);

/// The text alone, with or without the journal options.
void writeUsage(std::ostream& out, bool withJournalOptions);

}  // namespace joinscope
