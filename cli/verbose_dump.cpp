// The dump of the parsed command line.
#include "cli/verbose_dump.h"

#include <iostream>

#include "cli/common/user_credentials.h"
#include "cli/options.h"
#include "tolk/base/logger.h"

namespace joinscope {
namespace {

std::string orNull(const char* text) {
  return text == nullptr || *text == '\0' ? "null" : text;
}

std::string yesOrNo(bool value) {
  return value ? "Yes" : "No";
}

}  // namespace

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

void dumpOptions(const Options& options, const UserCredentials& credentials) {
  const tolk::Logger& logger = tolk::Logger::GetThreadPrivateLogger("cli.joinscope");
  for (const std::string& line : verboseLines(options, credentials)) {
    logger.log(tolk::LogLevel::debug, line,
               tolk::LogSource{.file = "cli_info", .function = "ParseCommandLineOpts"});
    std::cerr << line + '\n';
  }
}

}  // namespace joinscope
