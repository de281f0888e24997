// Process entry of joinscope.
#include <exception>
#include <iostream>
#include <string>

#include "cli/common/error_text.h"
#include "cli/common/exit_status.h"
#include "cli/entry.h"
#include "tolk/base/logger.h"

namespace {

int fail(const tolk::Logger& logger, const std::string& reason) {
  const std::string text = "Error: " + reason;
  logger.log(tolk::LogLevel::debug, text, tolk::LogSource{.file = "cli_info", .function = "main"});
  std::cerr << text + '\n';
  return joinscope::exit_status::kMiscError;
}

int runGuarded(int argc, char** argv, const tolk::Logger& logger) {
  try {
    return joinscope::main2(argc, argv);
  } catch (const std::exception& error) {
    return fail(logger, joinscope::errorText(error));
  } catch (...) {
    return fail(logger, "Unknown exception");
  }
}

}  // namespace

int main(int argc, char** argv) {
  joinscope::prepareProcess();
  tolk::openLog(tolk::LogSink::syslog, "joinscope");
  const tolk::Logger& logger = tolk::Logger::GetThreadPrivateLogger("cli.joinscope");
  return joinscope::finishOutput(runGuarded(argc, argv, logger));
}
