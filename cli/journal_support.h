// Whether this system keeps its log in the systemd journal.
#pragma once

namespace joinscope {

/// True when /usr/bin/journalctl exists and this process may execute it.
bool OSSupportSystemdJournal();

}  // namespace joinscope
