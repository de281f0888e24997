// The options of the command, one row each, which the parser, the usage text and the manual page
// are held against; and the record of a parsed command line.
#pragma once

#include <getopt.h>

#include <array>
#include <cstdint>
#include <optional>
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

struct OptionEntry {
  const char* longName;
  char shortName;
  int argument;               ///< no_argument, required_argument or optional_argument
  std::optional<Task> task;   ///< the task it selects; none for a modifier
  bool needsJournal = false;  ///< unknown where the system keeps no journal
};

inline constexpr std::array kOptions{
    OptionEntry{"all", 'a', no_argument, Task::all},
    OptionEntry{"diag", 'g', optional_argument, Task::diag},
    OptionEntry{"user", 'u', required_argument, {}},
    OptionEntry{"password", 'p', required_argument, {}},
    OptionEntry{"interactive", 'I', no_argument, {}},
    OptionEntry{"domain", 'd', no_argument, Task::domain},
    OptionEntry{"gc", 'G', no_argument, Task::globalCatalog},
    OptionEntry{"zone", 'z', no_argument, Task::zone},
    OptionEntry{"zonedn", 'Z', no_argument, Task::zonedn},
    OptionEntry{"site", 's', no_argument, Task::site},
    OptionEntry{"server", 'r', no_argument, Task::server},
    OptionEntry{"name", 'n', no_argument, Task::name},
    OptionEntry{"mode", 'm', no_argument, Task::mode},
    OptionEntry{"config", 'c', no_argument, Task::config},
    OptionEntry{"computer", 'C', no_argument, Task::computer},
    OptionEntry{"begin", 'b', required_argument, {}, true},
    OptionEntry{"end", 'e', required_argument, {}, true},
    OptionEntry{"lastnhrs", 'l', required_argument, {}, true},
    OptionEntry{"support", 't', optional_argument, Task::support},
    OptionEntry{"debugcache", 'D', no_argument, Task::debugcache},
    OptionEntry{"output", 'o', required_argument, {}},
    OptionEntry{"paths", 'P', required_argument, {}},
    OptionEntry{"auth", 'A', optional_argument, Task::auth},
    OptionEntry{"ntlmauth", 'N', optional_argument, Task::ntlmauth},
    OptionEntry{"servername", 'S', required_argument, {}},
    OptionEntry{"test", 'T', optional_argument, Task::test},
    OptionEntry{"joinedcount", 'j', no_argument, Task::joinedCount},
    OptionEntry{"verbose", 'V', no_argument, {}},
    OptionEntry{"version", 'v', no_argument, Task::version},
    OptionEntry{"suite-version", 'x', no_argument, Task::productVersion},
    OptionEntry{"product-version", 'x', no_argument, Task::productVersion},
    OptionEntry{"help", 'h', no_argument, Task::help},
    OptionEntry{"sysinfo", 'y', required_argument, Task::sysinfo},
    OptionEntry{"orbinfo", 'i', no_argument, Task::orbinfo},
};

/// The row of a short option's letter; null when there is none.
constexpr const OptionEntry* findOption(int letter) noexcept {
  for (const OptionEntry& row : kOptions) {
    if (row.shortName == letter) return &row;
  }
  return nullptr;
}

/// Whether the task's option takes a domain, attached or as a word behind it.
constexpr bool takesDomain(Task task) noexcept {
  for (const OptionEntry& row : kOptions) {
    if (row.task == task) return row.argument == optional_argument;
  }
  return false;
}

}  // namespace joinscope
