// Each finding begins with its id in a column of its own, so that one grep finds it; what belongs
// to it stands below, indented.
#include <array>
#include <cstdio>
#include <ranges>

#include "check/writers/paragraph.h"
#include "check/writers/writer.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

constexpr std::size_t kColumn = 23;  // where texts begin: behind the longest id
constexpr std::size_t kAll = static_cast<std::size_t>(-1);
constexpr std::size_t kFewReasons = 5;

class Report {
 public:
  Report(const Judgement& judgement, const facts::Facts& facts, const TextStyle& style)
      : judgement_(judgement), facts_(facts), style_(style) {}

  std::string write();

 private:
  void headline();
  void finding(const Finding& finding, const std::string& mark);
  void follows(const Finding& cause);
  void others();
  void list(const char* title, Grade grade, std::size_t most);
  void summary();
  void unfinished();
  void add(const std::string& label, const std::string& text);
  [[nodiscard]] std::string coloured(const std::string& text, const char* code) const;

  const Judgement& judgement_;
  const facts::Facts& facts_;
  const TextStyle& style_;
  std::string out_;
};

const char* colourOf(int exitStatus) {
  switch (exitStatus) {
    case ExitStatus::kSound:
      return "32";
    case ExitStatus::kWarning:
      return "33";
    case ExitStatus::kBroken:
      return "31";
    default:
      return "35";
  }
}

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

std::string Report::write() {
  headline();
  for (const Finding* cause : judgement_.firstCauses()) {
    finding(*cause, "");
    follows(*cause);
    out_ += '\n';
  }
  for (const Finding* one : judgement_.withGrade(Grade::warning)) {
    finding(*one, "Warning: ");
    out_ += '\n';
  }
  if (style_.all) {
    others();
  } else if (judgement_.exitStatus() == ExitStatus::kUnknown) {
    list("not checked", Grade::unknown, kFewReasons);
  }
  summary();
  unfinished();
  return out_;
}

void Report::headline() {
  std::string who = hostOf(facts_);
  if (!facts_.join.domain.empty()) {
    who += (facts_.run.joining ? ", to be joined to " : " in ") + facts_.join.domain;
  }
  if (!facts_.network.site.empty()) who += ", site " + facts_.network.site;
  const std::string word = judgement_.word();
  out_ += padded(tolk::printable(who), style_.width - word.size() - 1) + ' ' +
          coloured(word, colourOf(judgement_.exitStatus())) + "\n\n";
}

void Report::finding(const Finding& finding, const std::string& mark) {
  add(std::string(finding.rule->id), mark + finding.verdict.text);
  const std::vector<std::string>& next = finding.verdict.next;
  for (std::size_t i = 0; i < next.size(); ++i) add(i == 0 ? "   next" : "", next[i]);
  if (next.empty() && !finding.rule->remedy.empty()) {
    add("   next", std::string(finding.rule->remedy));
  }
}

void Report::follows(const Finding& cause) {
  constexpr std::size_t kShown = 4;
  const std::vector<const Finding*> all = judgement_.consequencesOf(*cause.rule);
  if (all.empty()) return;
  const std::size_t shown = style_.all || all.size() == kShown + 1 ? all.size() : kShown;
  std::string ids;
  for (const Finding* one : all | std::views::take(shown)) {
    ids += (ids.empty() ? "" : ", ") + std::string(one->rule->id);
  }
  if (all.size() > shown) ids += " and " + std::to_string(all.size() - shown) + " more";
  add("   follows", ids + ": not judged apart");
}

void Report::others() {
  list("not checked", Grade::unknown, kAll);
  list("not meant", Grade::notMeant, kAll);
  list("fine", Grade::fine, kAll);
}

void Report::list(const char* title, Grade grade, std::size_t most) {
  const std::vector<const Finding*> findings = judgement_.withGrade(grade);
  if (findings.empty()) return;
  out_ += std::string("  ") + title + ":\n";
  for (const Finding* one : findings | std::views::take(most)) {
    const bool silent = one->verdict.text.empty();
    add(std::string(one->rule->id), silent ? std::string(one->rule->title) : one->verdict.text);
  }
  if (findings.size() > most) {
    out_ += "  and " + std::to_string(findings.size() - most) + " more\n";
  }
  out_ += '\n';
}

void Report::summary() {
  const Counts counts = judgement_.counts();
  std::string text = std::to_string(counts.fine) + " fine";
  const auto add = [&text](int count, const char* what) {
    if (count > 0) text += ", " + std::to_string(count) + ' ' + what;
  };
  add(counts.broken, "broken");
  add(counts.warnings, counts.warnings == 1 ? "warning" : "warnings");
  add(counts.following, counts.following == 1 ? "follows" : "follow");
  add(counts.unknown, "not checked");
  if (counts.unknown > 0 && !style_.all) text += " (joincheck -v lists them)";
  std::array<char, 32> seconds{};
  (void)std::snprintf(seconds.data(), seconds.size(), "%.2f s", facts_.run.seconds);
  out_ += padded(text, style_.width - 10) + "  " + seconds.data() + '\n';
}

void Report::unfinished() {
  std::string subjects;
  for (const std::string& subject : facts_.run.unfinished) {
    subjects += (subjects.empty() ? "" : ", ") + subject;
  }
  if (!facts_.run.cut.empty()) {
    out_ += tolk::printable("Cut by " + facts_.run.cut + " while still asking: " + subjects) + '\n';
  } else if (!subjects.empty()) {
    out_ += tolk::printable("Not asked to the end: " + subjects) + '\n';
  }
}

void Report::add(const std::string& label, const std::string& text) {
  out_ += paragraph("  " + label, text, {.column = kColumn, .width = style_.width});
}

std::string Report::coloured(const std::string& text, const char* code) const {
  return style_.colour ? std::string("\033[1;") + code + "m" + text + "\033[0m" : text;
}

}  // namespace

std::string hostOf(const facts::Facts& facts) {
  return facts.join.joinedHost.empty() ? facts.host.name : facts.join.joinedHost;
}

std::string textReport(const Judgement& judgement, const facts::Facts& facts,
                       const TextStyle& style) {
  return Report(judgement, facts, style).write();
}

}  // namespace joinscope::check
