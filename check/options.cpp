// The options of joincheck and what goes with what.
#include "check/options.h"

#include <CLI/CLI.hpp>

namespace joinscope::check {
namespace {

void addReport(CLI::App& app, Options& options) {
  app.add_flag("-v,--verbose", options.all, "also what is fine and what was not checked");
  app.add_option("--only", options.selection.only, "only the checks whose id begins so");
  app.add_option("--skip", options.selection.skip, "all but the checks whose id begins so");
}

void addGathering(CLI::App& app, Options& options) {
  CLI::Option* facts =
      app.add_option("--facts", options.factsFile, "judge the facts in FILE, without a network");
  for (CLI::Option* other : {
           app.add_option("--save", options.saveFile, "write the facts to FILE"),
           app.add_option("--timeout", options.timeout, "seconds for the whole run"),
           app.add_option("--server", options.question.server, "ask this controller only"),
       }) {
    other->excludes(facts);
  }
}

}  // namespace

Parsed parseOptions(int argc, const char* const* argv) {
  Parsed parsed;
  CLI::App app(
      "Says whether this host's membership of its Active Directory domain works, and names the "
      "first cause if not.",
      "joincheck");
  addReport(app, parsed.options);
  addGathering(app, parsed.options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    parsed.ended = app.exit(error) == 0 ? ExitStatus::kSound : ExitStatus::kUsage;
  }
  return parsed;
}

}  // namespace joinscope::check
