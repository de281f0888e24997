// The table of rules for people: its rows, and what each looks at.
#include <algorithm>

#include "check/writers/paragraph.h"
#include "check/writers/writer.h"

namespace joinscope::check {
namespace {

constexpr std::size_t kWidth = 80;

std::string part(const char* label, std::string_view text) {
  constexpr std::size_t kColumn = 13;
  return paragraph(std::string("- ") + label + ':', std::string(text),
                   {.column = kColumn, .width = kWidth});
}

}  // namespace

std::string ruleList() {
  std::size_t widest = 0;
  for (const Rule* rule : allRules()) widest = std::max(widest, rule->id.size());
  std::string text;
  for (const Rule* rule : allRules()) {
    text += std::string(rule->id) + std::string(widest - rule->id.size() + 2, ' ') +
            std::string(rule->title) + '\n';
  }
  return text;
}

std::string explanation(const Rule& rule) {
  std::string text = "## " + std::string(rule.id) + "\n\n" + std::string(rule.title) + ".\n\n";
  text += part("looks at", rule.looksAt);
  if (!rule.needs.empty()) text += part("needs", rule.needs);
  text += part("wrong", rule.wrong);
  text += part("remedy", rule.remedy);
  return text + part("source", rule.source);
}

}  // namespace joinscope::check
