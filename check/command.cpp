// Gather or read, judge, write.
#include "check/command.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <system_error>

#include "check/judgement.h"
#include "check/live_facts.h"
#include "check/options.h"
#include "check/output.h"
#include "check/until_sound.h"
#include "check/user_password.h"
#include "check/writers/writer.h"
#include "facts/facts_file.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/file.h"
#include "tolk/base/logger.h"
#include "tolk/base/shredder.h"
#include "tolk/base/standard_streams.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"

namespace joinscope::check {
namespace {

bool wantsColour() {
  const char* refused = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0') &&
         (terminal == nullptr || std::string_view(terminal) != "dumb");
}

std::string reportOf(const Judgement& judgement, const facts::Facts& facts,
                     const Options& options) {
  switch (options.format) {
    case Format::text:
      return textReport(judgement, facts, {.colour = wantsColour(), .all = options.all});
    case Format::json:
      return jsonReport(judgement, facts);
    case Format::prometheus:
      return prometheusReport(judgement, facts);
    case Format::none:
      break;
  }
  return {};
}

std::string errorOf(const std::string& message, int status, Format format) {
  if (format == Format::json) return jsonError(message, status);
  return format == Format::prometheus ? prometheusError(status) : "";
}

facts::Facts loadFacts(const std::string& path) {
  constexpr std::size_t kMaxBytes = std::size_t{64} << 20;
  const std::string text = tolk::readRegularFile(path, kMaxBytes);
  try {
    return facts::readFacts(text);
  } catch (const tolk::BadDataException& e) {
    throw tolk::BadDataException(path +
                                 " is no facts file that this joincheck can read: " + e.what());
  }
}

/// Such a refusal counts as a wrong password.
bool isRefusal(const facts::Asked& asked) {
  constexpr std::int64_t kPreauthFailed = -1765328360;  // KRB5KDC_ERR_PREAUTH_FAILED
  return asked.outcome == facts::Outcome::refused && asked.code == kPreauthFailed;
}

bool keyRefused(const facts::Kerberos& kerberos) {
  return isRefusal(kerberos.login.asked) ||
         std::ranges::any_of(kerberos.keys,
                             [](const facts::ProvedKey& key) { return isRefusal(key.asked); });
}

Checked judged(const facts::Facts& facts, const Options& options) {
  const Judgement judgement = judge(facts, options.selection);
  return {.report = reportOf(judgement, facts, options),
          .status = judgement.exitStatus(),
          .keyRefused = keyRefused(facts.kerberos)};
}

void tellTroubles(const Options& options) {
  for (const std::string& line : tolk::takeTroubles()) {
    if (options.all) std::cerr << "joincheck: " << line << '\n';
  }
}

/// Never throws, as it may be the whole of a child process.
Checked check(const Options& options) noexcept {
  try {
    if (!options.factsFile.empty()) return judged(loadFacts(options.factsFile), options);
    const facts::Facts facts = gatherFacts(options);
    tellTroubles(options);
    if (!options.saveFile.empty()) writePrivateFile(options.saveFile, facts::writeFacts(facts));
    return judged(facts, options);
  } catch (const std::exception& failure) {
    std::cerr << "joincheck: " << tolk::printable(failure.what()) << '\n';
    return {.report = errorOf(failure.what(), ExitStatus::kUnknown, options.format),
            .status = ExitStatus::kUnknown};
  }
}

Checked explain(const std::string& id) {
  Checked checked;
  for (const Rule* rule : allRules()) {
    if (id != "all" && id != rule->id) continue;
    checked.report += (checked.report.empty() ? "" : "\n") + explanation(*rule);
  }
  if (!checked.report.empty()) return checked;
  std::cerr << "joincheck: There is no check '" << tolk::printable(id)
            << "': joincheck --list shows all\n";
  return {.report = "", .status = ExitStatus::kUsage};
}

Checked answer(Options& options) {
  if (options.list) return {.report = ruleList()};
  if (!options.explain.empty()) return explain(options.explain);
  if (!options.question.user.empty()) {
    try {
      options.question.password = readUserPassword(options);
    } catch (const tolk::Base_Exception& failure) {
      std::cerr << "joincheck: " << tolk::printable(failure.what()) << '\n';
      return {.report = errorOf(failure.what(), ExitStatus::kUsage, options.format),
              .status = ExitStatus::kUsage};
    }
  }
  if (options.wait == 0) return check(options);
  return checkUntilSound(options.wait, [&options] { return check(options); });
}

/// The status, unless the report could not be written.
int print(const Checked& checked) {
  const int failure = writeWhole(STDOUT_FILENO, checked.report);
  if (failure == 0 || failure == EPIPE) return checked.status;
  std::cerr << "joincheck: Cannot write to standard output: "
            << std::generic_category().message(failure) << '\n';
  return std::max(checked.status, ExitStatus::kUnknown);
}

void prepareProcess() {
  tolk::forbidCoreDumps();
  tolk::holdStandardStreams();
  tolk::openLog(tolk::LogSink::syslog, "joincheck");
  // A handler, unlike SIG_IGN, is not inherited by the programs that the gathering starts.
  struct sigaction action {};
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGPIPE, &action, nullptr);
}

}  // namespace

int run(int argc, char** argv) noexcept {
  try {
    prepareProcess();
    Parsed parsed = parseOptions(argc, argv);
    std::cout.flush();  // the help
    return parsed.ended ? *parsed.ended : print(answer(parsed.options));
  } catch (const std::exception& failure) {
    std::cerr << "joincheck: " << tolk::printable(failure.what()) << '\n';
    return ExitStatus::kUnknown;
  }
}

}  // namespace joinscope::check
