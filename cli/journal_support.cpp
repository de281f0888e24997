// The check for the systemd journal.
#include "cli/journal_support.h"

#include <unistd.h>

#include <string>

#include "tolk/base/logger.h"

namespace joinscope {

bool OSSupportSystemdJournal() {
  const bool supported = ::access("/usr/bin/journalctl", X_OK) == 0;
  tolk::Logger::GetThreadPrivateLogger("cli.joinscope")
      .log(tolk::LogLevel::debug, std::string("OSSupportSystemdJournal: supportJournal=") +
                                      (supported ? "true" : "false"));
  return supported;
}

}  // namespace joinscope
