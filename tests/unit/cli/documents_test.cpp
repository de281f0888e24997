// The option table, the exit statuses, the usage text and the manual page name the same things.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "cli/option_table.h"
#include "cli/usage.h"

namespace joinscope {
namespace {

using Names = std::set<std::string>;

std::string usageText(bool withJournalOptions) {
  std::ostringstream out;
  writeUsage(out, withJournalOptions);
  return out.str();
}

std::string fileText(const std::string& path) {
  std::ifstream file(std::string(JOINSCOPE_SOURCE_DIR) + '/' + path);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

// All of the text's matches; the groups of a match are joined with blanks.
Names matches(const std::string& text, const std::string& pattern) {
  const std::regex expression(pattern, std::regex::ECMAScript | std::regex::multiline);
  Names names;
  for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it) {
    std::string name = (*it)[1];
    for (std::size_t i = 2; i < it->size(); ++i) name += ' ' + (*it)[i].str();
    names.insert(name);
  }
  return names;
}

Names tableRows(bool withJournalOptions) {
  Names names;
  for (const OptionEntry& row : kOptions) {
    if (withJournalOptions || !row.needsJournal) {
      names.insert(std::string(row.longName) + ' ' + row.shortName);
    }
  }
  return names;
}

TEST(Documents, UsageNamesTheOptionsOfTheTable) {
  for (const bool journal : {false, true}) {
    Names expected = tableRows(journal);
    expected.erase("suite-version x");  // a second name of --product-version
    EXPECT_EQ(matches(usageText(journal), "^  --([a-z-]+), *-([A-Za-z])"), expected);
  }
}

TEST(Documents, UsageLeavesOnlyTheJournalOptionsOut) {
  const std::string with = usageText(true);
  const std::string without = usageText(false);
  EXPECT_EQ(std::ranges::count(with, '\n'), 87);
  EXPECT_EQ(std::ranges::count(without, '\n'), 78);
  const std::size_t start = with.find("  --begin");
  const std::size_t end = with.find("  --support");
  EXPECT_EQ(with.substr(0, start) + with.substr(end), without);
  // A formatter that strips blanks at line ends would change the text.
  EXPECT_EQ(matches(with, "(\\S) $").size(), 3U);
}

TEST(Documents, ManualPageNamesTheOptionsOfTheTable) {
  const std::string page = fileText("docs/joinscope.1");
  Names found;
  for (const std::string& entry :
       matches(page, "^\\.It Fl ([A-Za-z]) , Fl -([a-z-]+)(?: , Fl -([a-z-]+))?")) {
    std::istringstream words(entry);
    std::string letter;
    words >> letter;
    for (std::string name; words >> name;) found.insert(name + ' ' + letter);
  }
  EXPECT_EQ(found, tableRows(true));
}

TEST(Documents, ManualPageNamesEveryExitStatus) {
  const Names statuses =
      matches(fileText("cli/common/exit_status.h"), "constexpr int k\\w+ = (\\d+);");
  EXPECT_GT(statuses.size(), 10U);
  EXPECT_EQ(matches(fileText("docs/joinscope.1"), "^\\.It (\\d+)$"), statuses);
}

}  // namespace
}  // namespace joinscope
