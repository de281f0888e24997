// Writes the report, then lets the agent's scripts collect in their order.
#include "cli/support/collect_support.h"

#include <sys/stat.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "cli/common/command_runner.h"
#include "cli/common/exit_status.h"
#include "cli/support/join_verdict.h"
#include "cli/support/report_file.h"
#include "cli/support/support_paths.h"
#include "cli/support/support_report.h"

namespace joinscope {
namespace {

constexpr char kScripts[] = "/usr/share/orvald/bin/";

void warnAboutLog() {
  struct stat status {};
  if (::stat(kAgentLog, &status) != 0) {
    std::cerr << "WARNING: " << kAgentLog << " does not exist\n";
  } else if (status.st_size == 0) {
    std::cerr << "WARNING: " << kAgentLog << " is empty\n";
  }
}

/// The words of -P, each one literal argument whatever characters it has.
std::string quotedWords(const char* text) {
  std::istringstream words(text != nullptr ? text : "");
  std::string quoted;
  for (std::string word; words >> word;) quoted += shellQuoted(word) + ' ';
  return quoted;
}

void runScripts(const std::string& temporary, const char* extraPaths, const std::string& report) {
  const std::string scripts = kScripts;
  runPiped("Collecting stack trace information via stacktrace.pl:\n",
           scripts + "stacktrace.pl " + shellQuoted(temporary + "/stacktrace.txt"), "  ");
  runPiped("Collecting support information via joinscope_extra.sh:\n",
           scripts + "joinscope_extra.sh " + quotedWords(extraPaths) + shellQuoted(report), "  ");
}

}  // namespace

int collectSupport(TaskContext& context, const char* outputFile, const char* extraPaths,
                   const char* server, std::ostream* verbose) {
  const std::string temporary = privateTempDirectory();
  if (outputFile != nullptr && std::string(outputFile) == "-") {
    return ShowSupportInfo(context, server, verbose);
  }
  const std::string path =
      outputFile != nullptr ? outputFile : temporary + "/joinscope_support.txt";
  ReportFile file(path);
  if (!file.redirected()) return exit_status::kMiscError;
  const int status = SupportReport(Run(context, server, verbose), file.watcher()).write();
  if (!file.restore()) return exit_status::kMiscError;
  warnAboutLog();
  collectJoinVerdict(temporary);
  runScripts(temporary, extraPaths, path);
  return status;
}

int collectDebugCache(TaskContext& /*context*/) {
  const std::string command = std::string(kScripts) + "joinscope_debugcache.sh ";
  runPiped("Collecting support information via joinscope_debugcache.sh:\n", command, "  ");
  return exit_status::kSuccess;
}

}  // namespace joinscope
