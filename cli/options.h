// The parsed command line.
#pragma once

#include <cstdint>
#include <string>

#include "cli/common/task.h"

namespace joinscope {

struct UserCredentials;

/// What the command line says. The pointers point into the argument vector; null means not given.
struct Options {
  Task task = Task::all;
  const char* domain = nullptr;
  const char* outputPath = nullptr;
  const char* additionalPaths = nullptr;
  UserCredentials* credentials = nullptr;  ///< null: the machine's own credentials are used
  const char* serverName = nullptr;
  bool verbose = false;
  std::uint32_t sysinfoModules = 0;  ///< bit mask, handed to the daemon as it is
  std::string logBegin = {};
  std::string logEnd = {};
  std::int32_t lastHours = 0;  ///< 1 to 999999, 0 when not given
  bool journalSupported = false;
};

/// Parses the command line into both records and checks what can be checked without the directory.
/// Returns 0 to go on, or the exit status to end the run with, after telling why: a usage error (7)
/// with the usage text on standard output, or a task that only root may run (9). --help prints the
/// usage and returns 0 with the task set to help. May ask for a password on the terminal. A
/// password in the argument vector is overwritten with zero bytes.
int ParseCommandLineOpts(int argc, char** argv, UserCredentials& credentials, Options& options);

}  // namespace joinscope
