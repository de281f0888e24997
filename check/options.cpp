// The options of joincheck and what goes with what.
#include "check/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "check/writers/writer.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

constexpr double kShortest = 0.1;  // seconds
constexpr double kLongest = 86400;

/// What an option excludes is told when it happens.
class PlainFormatter : public CLI::Formatter {
 public:
  [[nodiscard]] std::string make_option_opts(const CLI::Option* option) const override {
    return option->get_type_name().empty() ? "" : ' ' + option->get_type_name();
  }
};

void addReport(CLI::App& app, Options& options) {
  app.add_flag("-v,--verbose", options.all, "also what is fine and what was not checked");
  const auto format = [&](const char* name, Format value, const char* help) {
    return app.add_flag_callback(
        name, [&options, value] { options.format = value; }, help);
  };
  CLI::Option* json = format("--json", Format::json, "the verdicts as JSON");
  CLI::Option* metrics =
      format("--prometheus", Format::prometheus, "the verdicts as metrics of a textfile collector");
  CLI::Option* quiet = format("-q,--quiet", Format::none, "the exit status alone");
  json->excludes(metrics)->excludes(quiet);
  metrics->excludes(quiet);
}

void addSelection(CLI::App& app, Options& options) {
  const auto prefixes = [&app](const char* name, std::vector<std::string>& to, const char* help) {
    app.add_option(name, to, help)->delimiter(',')->type_name("PREFIX,...");
  };
  prefixes("--only", options.selection.only, "only the checks whose id begins so: dns.,keytab.");
  prefixes("--skip", options.selection.skip, "all but the checks whose id begins so");
  app.add_flag("--list", options.list, "list all checks");
  app.add_option("--explain", options.explain, "what a check looks at, and why (\"all\": each)")
      ->type_name("ID");
}

/// A text that is not empty.
CLI::Option* addText(CLI::App& app, const char* name, std::string& to, const char* type,
                     const char* help) {
  const CLI::Validator given([](const std::string& text) { return text.empty() ? "is empty" : ""; },
                             "");
  return app.add_option(name, to, help)->check(given)->type_name(type);
}

CLI::Option* addSeconds(CLI::App& app, const char* name, double& to, const char* help) {
  return app.add_option(name, to, help)
      ->check(CLI::Range(kShortest, kLongest).description(""))
      ->type_name("SECONDS");
}

void addQuestion(CLI::App& app, Options& options) {
  facts::Question& question = options.question;
  CLI::Option* user =
      addText(app, "-u,--user", question.user, "USER", "try this user's password, once");
  CLI::Option* file = addText(app, "--password-file", options.passwordFile, "FILE",
                              "its first line is the password; else it is asked for");
  file->needs(user);
  CLI::Option* join = addText(app, "--join", question.domain, "DOMAIN",
                              "what is missing to join this host to DOMAIN");
  CLI::Option* server =
      addText(app, "--server", question.server, "NAME", "ask this controller only");
  CLI::Option* save = addText(app, "--save", options.saveFile, "FILE", "write the facts to FILE");
  CLI::Option* timeout = addSeconds(app, "--timeout", options.timeout, "for a run (default 10)");
  CLI::Option* wait = addSeconds(app, "--wait", options.wait, "run again until nothing is broken");
  wait->excludes(user);
  CLI::Option* facts = addText(app, "--facts", options.factsFile, "FILE",
                               "judge the facts in FILE, without a network");
  for (CLI::Option* live : {user, join, server, save, timeout, wait}) facts->excludes(live);
}

/// Why these options can select nothing to check; "" when they can.
std::string selectionFault(const Selection& selection) {
  const std::vector<const Rule*>& rules = allRules();
  for (const std::vector<std::string>* prefixes : {&selection.only, &selection.skip}) {
    for (const std::string& prefix : *prefixes) {
      const Selection alone{.only = {prefix}, .skip = {}};
      if (prefix.empty() ||
          std::ranges::none_of(rules, [&](const Rule* rule) { return alone.takes(*rule); })) {
        return "No check's id begins with '" + prefix + "': joincheck --list shows all";
      }
    }
  }
  const bool some =
      std::ranges::any_of(rules, [&](const Rule* rule) { return selection.takes(*rule); });
  return some ? "" : "--only and --skip together leave no check: take one of them away";
}

int refuse(const std::string& fault, bool asJson) {
  if (asJson) std::cout << jsonError(fault, ExitStatus::kUsage);
  std::cerr << "joincheck: " << tolk::printable(fault) << '\n';
  return ExitStatus::kUsage;
}

}  // namespace

Parsed parseOptions(int argc, const char* const* argv) {
  Parsed parsed;
  CLI::App app(
      "Says whether this host's membership of its Active Directory domain works, names the first "
      "cause if not, and what to do about it.",
      "joincheck");
  app.formatter(std::make_shared<PlainFormatter>());
  app.set_help_flag("-h,--help", "print this");
  addReport(app, parsed.options);
  addSelection(app, parsed.options);
  addQuestion(app, parsed.options);
  app.set_version_flag("--version", "joincheck " ORVALD_RELEASE, "the release of this program");
  app.footer("Exit status: 0 sound, 1 warnings, 2 broken, 3 could not tell, 64 usage.");
  // A command line that is wrong has no options yet.
  const bool asJson = std::any_of(
      argv, argv + argc, [](const char* word) { return std::string_view(word) == "--json"; });
  try {
    app.parse(argc, argv);
    parsed.options.question.joining = !parsed.options.question.domain.empty();
    const std::string fault = selectionFault(parsed.options.selection);
    if (!fault.empty()) parsed.ended = refuse(fault, asJson);
  } catch (const CLI::Success& help) {
    parsed.ended = app.exit(help);
  } catch (const CLI::ParseError& error) {
    parsed.ended =
        refuse(std::string(error.what()) + "; joincheck --help shows all options", asJson);
  }
  return parsed;
}

}  // namespace joinscope::check
