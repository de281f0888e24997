// Options in command-line order: task options share one road, modifiers have a case each.
#include "cli/option_reader.h"

#include <getopt.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "cli/common/user_credentials.h"
#include "cli/options.h"
#include "tolk/base/logger.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/rpc/daemon_protocol.h"

namespace joinscope {
namespace {

namespace bits = tolk::daemon_module;

using Outcome = std::optional<Refusal>;

constexpr long kMaxLastHours = 999999;

// The modules of the daemon's system information.
struct Module {
  std::string_view name;
  std::uint32_t bits;
};

constexpr std::array kModules{
    Module{"all", bits::kAll},
    Module{"dns", bits::kDns},
    Module{"domain", bits::kDomain},
    Module{"netstate", bits::kNetState},
    Module{"adagent", bits::kAdAgent},
    Module{"config", bits::kConfig},
    Module{"pmon", bits::kPmon},
    Module{"pmon_enable", bits::kPmonEnable},
    Module{"pmon_disable", bits::kPmonDisable},
    Module{"zone", bits::kZone},
    Module{"health", bits::kHealth},
    Module{"orb", bits::kOrb},
    Module{"cloud", bits::kOrb},
};

std::uint32_t moduleBits(std::string_view name) {
  for (const Module& module : kModules) {
    if (tolk::equalsIgnoringCase(module.name, name)) return module.bits;
  }
  return 0;
}

/// The modules of a list separated by commas as a bit mask; or the first item that names none,
/// which may be empty.
std::variant<std::uint32_t, std::string> parseSysinfoModules(std::string_view text) {
  std::uint32_t mask = 0;
  for (std::string& item : tolk::split(text, ',')) {
    const std::uint32_t bits = moduleBits(item);
    if (bits == 0) return std::move(item);
    mask |= bits;
  }
  return mask;
}

// "+" and ":" modes of getopt stay off: words and options may be mixed, and both of its errors look
// alike.
std::string shortOptions() {
  std::string letters;
  for (const OptionEntry& row : kOptions) {
    letters += row.shortName;
    letters.append(static_cast<std::size_t>(row.argument), ':');
  }
  return letters;
}

std::vector<option> longOptions() {
  std::vector<option> rows;
  rows.reserve(kOptions.size() + 1);
  for (const OptionEntry& row : kOptions) {
    rows.push_back({row.longName, row.argument, nullptr, row.shortName});
  }
  rows.push_back({});
  return rows;
}

Refusal usageError(std::string message) {
  return {.message = std::move(message)};
}

// In memory only: nothing is written to the configuration file.
void logEverything() {
  tolk::Properties& properties = tolk::Props(false, false);
  const auto lock = properties.lock();
  properties.set(tolk::PN::ROOT_LOGGER_NAME, "DEBUG");
  tolk::Logger::ReconfigureLevels(properties);
}

class OptionReader {
 public:
  OptionReader(UserCredentials& credentials, Options& options)
      : credentials_(credentials), options_(options) {}

  Outcome accept(const OptionEntry& row, char* argument) {
    if (row.needsJournal && !options_.journalSupported) return Refusal{};
    if (row.argument == required_argument && argument == nullptr) {
      return usageError(std::string("--") + row.longName + "/-" + row.shortName +
                        " option requires an argument");
    }
    return row.task ? acceptTask(*row.task, argument) : acceptModifier(row.shortName, argument);
  }

 private:
  Outcome acceptTask(Task task, const char* argument) {
    if (task == Task::help) {
      options_.task = task;
      return Refusal{.status = exit_status::kSuccess};
    }
    if (task == Task::sysinfo) {
      const auto modules = parseSysinfoModules(argument);
      if (const auto* unknown = std::get_if<std::string>(&modules)) {
        return usageError("Invalid system information module: " + *unknown);
      }
      options_.sysinfoModules = std::get<std::uint32_t>(modules);
    }
    if (taskSeen_) return usageError("Only one option may be given.");
    taskSeen_ = true;
    options_.task = task;
    if (argument != nullptr && takesDomain(task)) options_.domain = argument;
    return {};
  }

  Outcome acceptModifier(char letter, char* argument) {
    switch (letter) {
      case 'u':
        credentials_.user = argument;
        return {};
      case 'p':
        takePassword(argument);
        return {};
      case 'I':
        credentials_.interactive = true;
        return {};
      case 'o':
        return setOnce(options_.outputPath, argument, "output option may not be given twice");
      case 'P':
        return setOnce(options_.additionalPaths, argument,
                       "additional paths option may not be given twice");
      case 'S':
        options_.serverName = argument;
        return {};
      case 'V':
        return acceptVerbose();
      case 'l':
        return acceptLastHours(argument);
      case 'b':
        options_.logBegin = argument;
        return {};
      default:
        options_.logEnd = argument;
        return {};
    }
  }

  // Other users can read the argument vector of every process (proc(5), cmdline).
  void takePassword(char* argument) {
    credentials_.passwordGiven = true;
    credentials_.password = tolk::Shredder(argument);
    ::explicit_bzero(argument, std::strlen(argument));
  }

  static Outcome setOnce(const char*& field, const char* argument, const char* complaint) {
    if (field != nullptr) return usageError(complaint);
    field = argument;
    return {};
  }

  Outcome acceptVerbose() {
    if (options_.verbose) return usageError("Verbose option may not be given twice");
    options_.verbose = true;
    logEverything();
    return {};
  }

  Outcome acceptLastHours(const char* argument) {
    // Judged before it is narrowed; an overflow gives LONG_MAX or LONG_MIN.
    const long hours = std::strtol(argument, nullptr, 10);
    if (hours < 1 || hours > kMaxLastHours) {
      return usageError("--lastnhrs/-l option's argument should be in [1...999999]");
    }
    options_.lastHours = static_cast<std::int32_t>(hours);
    return {};
  }

  UserCredentials& credentials_;
  Options& options_;
  bool taskSeen_ = false;
};

}  // namespace

std::optional<Refusal> readOptions(int argc, char** argv, UserCredentials& credentials,
                                   Options& options, std::vector<const char*>& words) {
  const std::string letters = shortOptions();
  const std::vector<option> names = longOptions();
  OptionReader reader(credentials, options);
  ::opterr = 0;
  ::optind = 0;  // starts anew (getopt(3), notes)
  for (;;) {
    const int letter = ::getopt_long(argc, argv, letters.c_str(), names.data(), nullptr);
    if (letter == -1) break;
    const OptionEntry* row = findOption(letter);
    if (row == nullptr) return Refusal{};
    if (Outcome refusal = reader.accept(*row, ::optarg)) return refusal;
  }
  words.assign(argv + ::optind, argv + argc);
  return {};
}

}  // namespace joinscope
