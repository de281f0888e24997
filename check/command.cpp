// Gather or read, judge, write.
#include "check/command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <exception>
#include <iostream>
#include <string>

#include "check/judgement.h"
#include "check/writers/writer.h"
#include "facts/gathering.h"

namespace joinscope::check {
namespace {

struct Options {
  bool all = false;
  double timeout = 10;
  facts::Question question;
  Selection selection;
};

void addOptions(CLI::App& app, Options& options) {
  app.add_flag("-v,--verbose", options.all, "also what is fine and what was not checked");
  app.add_option("--timeout", options.timeout, "seconds for the whole run")->capture_default_str();
  app.add_option("--server", options.question.server, "ask this controller only");
  app.add_option("--only", options.selection.only, "only the checks whose id begins so");
  app.add_option("--skip", options.selection.skip, "all but the checks whose id begins so");
}

int check(const Options& options) {
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::milliseconds>(
                                             std::chrono::duration<double>(options.timeout));
  facts::Gathering gathering(options.question);
  const bool whole = gathering.wait(deadline, -1);
  facts::Facts facts = gathering.facts();
  if (!whole) facts.run.cut = "--timeout";
  const Judgement judgement = judge(facts, options.selection);
  TextStyle style;
  style.all = options.all;
  style.colour = ::isatty(STDOUT_FILENO) == 1;
  std::cout << textReport(judgement, facts, style) << std::flush;
  if (!whole) ::_exit(judgement.exitStatus());
  return judgement.exitStatus();
}

}  // namespace

int run(int argc, char** argv) noexcept {
  try {
    Options options;
    CLI::App app(
        "Says whether this host's membership of its Active Directory domain works, and "
        "names the first cause if not.");
    addOptions(app, options);
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? 0 : ExitStatus::kUsage;
    }
    return check(options);
  } catch (const std::exception& failure) {
    std::cerr << "joincheck: " << failure.what() << '\n';
    return ExitStatus::kUnknown;
  }
}

}  // namespace joinscope::check
