// Process entry of joinscope.
#include <exception>
#include <iostream>
#include <string>

#include "cli/common/error_text.h"
#include "cli/common/exit_status.h"
#include "cli/entry.h"
#include "tolk/base/logger.h"

namespace {

int fail(const std::string& reason) {
  const std::string text = "Error: " + reason;
  tolk::Logger::GetThreadPrivateLogger("cli.joinscope")
      .log(tolk::LogLevel::debug, text, tolk::LogSource{.file = "cli_info", .function = "main"});
  std::cerr << text + '\n';
  return joinscope::exit_status::kMiscError;
}

int runGuarded(int argc, char** argv) {
  try {
    return joinscope::main2(argc, argv);
  } catch (const std::exception& error) {
    return fail(joinscope::errorText(error));
  } catch (...) {
    return fail("Unknown exception");
  }
}

}  // namespace

int main(int argc, char** argv) {
  joinscope::prepareProcess();
  tolk::openLog(tolk::LogSink::syslog, "joinscope");
  return joinscope::finishOutput(runGuarded(argc, argv));
}
