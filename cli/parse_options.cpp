// The command line from argument vector to checked options.
#include <unistd.h>

#include <iostream>
#include <optional>
#include <vector>

#include "cli/common/user_credentials.h"
#include "cli/credential_resolution.h"
#include "cli/option_checks.h"
#include "cli/option_reader.h"
#include "cli/options.h"
#include "cli/usage.h"
#include "cli/verbose_dump.h"
#include "tolk/base/stack_scrub.h"

namespace joinscope {
namespace {

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

int ParseCommandLineOpts(int argc, char** argv, UserCredentials& credentials, Options& options) {
  const std::optional<Refusal> refusal = parse(argc, argv, credentials, options);
  tolk::scrubStack();  // a password may have passed through it
  return refusal ? tell(*refusal) : exit_status::kSuccess;
}

}  // namespace joinscope
