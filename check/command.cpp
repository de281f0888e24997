// Gather or read, judge, write.
#include "check/command.h"

#include <unistd.h>

#include <chrono>
#include <exception>
#include <iostream>
#include <string>

#include "check/facts_store.h"
#include "check/judgement.h"
#include "check/options.h"
#include "check/writers/writer.h"
#include "facts/gathering.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

facts::Facts gather(const Options& options) {
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::milliseconds>(
                                             std::chrono::duration<double>(options.timeout));
  facts::Gathering gathering(options.question);
  const bool whole = gathering.wait(deadline, -1);
  facts::Facts facts = gathering.facts();
  facts.run.version = ORVALD_RELEASE;
  if (!whole) facts.run.cut = "--timeout";
  return facts;
}

int check(const Options& options) {
  const bool live = options.factsFile.empty();
  const facts::Facts facts = live ? gather(options) : loadFacts(options.factsFile);
  if (!options.saveFile.empty()) saveFacts(facts, options.saveFile);
  const Judgement judgement = judge(facts, options.selection);
  TextStyle style;
  style.all = options.all;
  style.colour = ::isatty(STDOUT_FILENO) == 1;
  std::cout << textReport(judgement, facts, style) << std::flush;
  if (live && !facts.run.cut.empty()) ::_exit(judgement.exitStatus());
  return judgement.exitStatus();
}

}  // namespace

int run(int argc, char** argv) noexcept {
  try {
    const Parsed parsed = parseOptions(argc, argv);
    return parsed.ended ? *parsed.ended : check(parsed.options);
  } catch (const std::exception& failure) {
    std::cerr << "joincheck: " << tolk::printable(failure.what()) << '\n';
    return ExitStatus::kUnknown;
  }
}

}  // namespace joinscope::check
