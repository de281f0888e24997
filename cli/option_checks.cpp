// The checks behind the options.
#include "cli/option_checks.h"

#include <cstring>

#include "cli/common/user_credentials.h"
#include "cli/option_table.h"
#include "cli/options.h"
#include "tolk/base/logger.h"

namespace joinscope {

std::optional<Refusal> checkRoot(Task task, uid_t uid) {
  if (uid == 0 || (task != Task::support && task != Task::debugcache)) return {};
  const std::string text = "You must be root to run --support or --debugcache.";
  tolk::Logger::GetThreadPrivateLogger("cli.joinscope").log(tolk::LogLevel::debug, text);
  return Refusal{.status = exit_status::kNotRoot, .error = text + '\n', .withUsage = false};
}

void takeDomainWord(Options& options, std::vector<const char*>& words) {
  if (!takesDomain(options.task) || options.domain != nullptr || words.empty()) return;
  options.domain = words.front();
  words.erase(words.begin());
}

std::optional<Refusal> checkUserNamed(Task task, const UserCredentials& credentials) {
  if (credentials.user != nullptr || (task != Task::auth && task != Task::ntlmauth)) return {};
  return Refusal{.message =
                     "User name should be specified using --user option if --auth option is "
                     "specified."};
}

std::optional<Refusal> checkServerName(const char* serverName) {
  if (serverName == nullptr) return {};
  const bool startsWithDigit = *serverName >= '0' && *serverName <= '9';
  if (!startsWithDigit && std::strchr(serverName, '.') != nullptr) return {};
  return Refusal{.error =
                     "Error: Server name must be a fully qualified DNS name\n"
                     "For example, dc1.example.com\n"};
}

std::optional<Refusal> checkLogWindow(const Options& options) {
  const bool given = !options.logBegin.empty() || !options.logEnd.empty() || options.lastHours != 0;
  if (!given || options.task == Task::support) return {};
  return Refusal{.message =
                     "--begin|--end or --lastnhrs options should be used in conjunction with "
                     "--support option"};
}

std::optional<Refusal> checkLeftoverWords(const std::vector<const char*>& words) {
  if (words.empty()) return {};
  Refusal refusal{.message = "Too many arguments: "};
  for (const char* word : words) refusal.message += word;
  return refusal;
}

}  // namespace joinscope
