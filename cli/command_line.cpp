// Reads, completes and checks the options; the first thing that is wrong ends it.
#include "cli/command_line.h"

#include <sys/types.h>
#include <unistd.h>

#include <cstring>
#include <iostream>

#include "cli/common/user_credentials.h"
#include "cli/tasks.h"
#include "cli/usage.h"
#include "tolk/base/logger.h"
#include "tolk/base/stack_scrub.h"
#include "tolk/base/terminal.h"
#include "tolk/krb5/credential_cache.h"

namespace joinscope {
namespace {

// Tasks that collect the files of the system are for root only.
std::optional<Refusal> checkRoot(Task task, uid_t uid) {
  if (uid == 0 || (task != Task::support && task != Task::debugcache)) return {};
  const std::string text = "You must be root to run --support or --debugcache.";
  tolk::Logger::GetThreadPrivateLogger("cli.joinscope").log(tolk::LogLevel::debug, text);
  return Refusal{.status = exit_status::kNotRoot, .error = text + '\n', .withUsage = false};
}

// Validating a password needs a user.
std::optional<Refusal> checkUserNamed(Task task, const UserCredentials& credentials) {
  if (credentials.user != nullptr || (task != Task::auth && task != Task::ntlmauth)) return {};
  return Refusal{.message =
                     "User name should be specified using --user option if --auth option is "
                     "specified."};
}

// A journal window means something to --support only.
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

void useOwnCache(UserCredentials& credentials, Options& options) {
  const uid_t uid = ::getuid();
  // Root's tickets are shown and never used; without --verbose there is nothing to look for.
  if (uid == 0 && !options.verbose) return;
  credentials.ccacheName = tolk::Krb5CredentialsCache::GetCCache().findUserCCache(uid, true);
  if (credentials.ccacheName.empty() || uid == 0) return;
  options.credentials = &credentials;
  tolk::Logger::GetThreadPrivateLogger("cli.joinscope")
      .log(tolk::LogLevel::debug, "Use " + credentials.ccacheName + " to bind to domain.");
}

// Whom the run acts for: a named user, the real user's own tickets, or the machine. A user without
// a password is asked for it on the terminal, a password without a user is the administrator's.
void resolveCredentials(UserCredentials& credentials, Options& options) {
  if (credentials.user == nullptr && !credentials.passwordGiven) {
    useOwnCache(credentials, options);
    return;
  }
  if (!credentials.passwordGiven) {
    credentials.password = tolk::promptPassword("Active Directory password: ");
    credentials.passwordGiven = true;
  }
  if (credentials.user == nullptr) credentials.user = "administrator";
  options.credentials = &credentials;
}

std::string orNull(const char* text) {
  return text == nullptr || *text == '\0' ? "null" : text;
}

std::string yesOrNo(bool value) {
  return value ? "Yes" : "No";
}

void dumpOptions(const Options& options, const UserCredentials& credentials) {
  for (const std::string& line : verboseLines(options, credentials)) {
    tolk::Logger::GetThreadPrivateLogger("cli.joinscope")
        .log(tolk::LogLevel::debug, line,
             tolk::LogSource{.file = "cli_info", .function = "ParseCommandLineOpts"});
    std::cerr << line + '\n';
  }
}

// The order of the steps shows: it decides which of several mistakes is told, and whether a
// password is asked for before.
std::optional<Refusal> parse(int argc, char** argv, UserCredentials& credentials,
                             Options& options) {
  std::vector<const char*> words;
  if (auto refusal = readOptions(argc, argv, credentials, options, words)) return refusal;
  if (auto refusal = checkRoot(options.task, ::getuid())) return refusal;
  takeDomainWord(options, words);
  if (auto refusal = checkUserNamed(options.task, credentials)) return refusal;
  resolveCredentials(credentials, options);
  if (auto refusal = checkServerName(options.serverName)) return refusal;
  if (auto refusal = checkLogWindow(options)) return refusal;
  if (options.verbose) dumpOptions(options, credentials);
  return checkLeftoverWords(words);
}

int tell(const Refusal& refusal) {
  std::cerr << refusal.error;
  if (refusal.withUsage) usage(refusal.message.empty() ? nullptr : refusal.message.c_str());
  return refusal.status;
}

}  // namespace

void takeDomainWord(Options& options, std::vector<const char*>& words) {
  if (!takesDomain(options.task) || options.domain != nullptr || words.empty()) return;
  options.domain = words.front();
  words.erase(words.begin());
}

std::optional<Refusal> checkServerName(const char* serverName) {
  if (serverName == nullptr) return {};
  const bool startsWithDigit = *serverName >= '0' && *serverName <= '9';
  if (!startsWithDigit && std::strchr(serverName, '.') != nullptr) return {};
  return Refusal{.error =
                     "Error: Server name must be a fully qualified DNS name\n"
                     "For example, dc1.example.com\n"};
}

std::vector<std::string> verboseLines(const Options& options, const UserCredentials& credentials) {
  return {
      "Options:",
      "-------",
      std::string("task: ") + taskName(options.task),
      "domain: " + orNull(options.domain),
      "output: " + orNull(options.outputPath),
      "additional paths: " + orNull(options.additionalPaths) + " ",
      "user: " + orNull(credentials.user),
      "using user's credential cache: " + yesOrNo(!credentials.ccacheName.empty()),
      "allow password prompt in kerberos get init credential: " + yesOrNo(credentials.interactive),
      "user's credential cache: " + orNull(credentials.ccacheName.c_str()),
      "server: " + orNull(options.serverName),
  };
}

int ParseCommandLineOpts(int argc, char** argv, UserCredentials& credentials, Options& options) {
  const std::optional<Refusal> refusal = parse(argc, argv, credentials, options);
  tolk::scrubStack();  // a password may have passed through it
  return refusal ? tell(*refusal) : exit_status::kSuccess;
}

}  // namespace joinscope
