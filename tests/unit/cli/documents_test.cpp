// The option table, the exit statuses, the usage text and the manual page name the same things.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "cli/options.h"
#include "cli/usage.h"
#include "tolk/base/text.h"

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

// "name letter" of each line of the usage text that introduces an option.
Names usageRows(const std::string& text) {
  Names names;
  for (const std::string& line : tolk::split(text, '\n')) {
    char name[64] = {};
    char letter = 0;
    if (std::sscanf(line.c_str(), "  --%63[a-z-], -%c", name, &letter) == 2) {
      names.insert(std::string(name) + ' ' + letter);
    }
  }
  return names;
}

// The same of the manual page: ".It Fl x , Fl -name , Fl -othername Ns ...".
Names pageRows(const std::string& text) {
  Names names;
  for (const std::string& line : tolk::split(text, '\n')) {
    if (!line.starts_with(".It Fl ")) continue;
    const std::string start = " , Fl -";
    for (std::size_t at = line.find(start); at != std::string::npos; at = line.find(start, at)) {
      at += start.size();
      names.insert(line.substr(at, line.find(' ', at) - at) + ' ' + line[7]);
    }
  }
  return names;
}

// The number behind `start` in each line that has one there.
Names numbersBehind(const std::string& start, const std::string& text) {
  Names numbers;
  for (const std::string& line : tolk::split(text, '\n')) {
    const std::size_t at = line.find(start);
    int number = 0;
    if (at != std::string::npos &&
        std::sscanf(line.c_str() + at + start.size(), "%d", &number) == 1) {
      numbers.insert(std::to_string(number));
    }
  }
  return numbers;
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
    EXPECT_EQ(usageRows(usageText(journal)), expected);
  }
}

TEST(Documents, UsageLeavesOnlyTheJournalOptionsOut) {
  const std::string with = usageText(true);
  const std::string without = usageText(false);
  const std::size_t start = with.find("  --begin");
  const std::size_t end = with.find("  --support");
  EXPECT_EQ(with.substr(0, start) + with.substr(end), without);
  // A formatter that strips blanks at line ends would change the text.
  const std::vector<std::string> lines = tolk::split(with, '\n');
  EXPECT_EQ(std::ranges::count_if(lines, [](const auto& line) { return line.ends_with(' '); }), 3);
}

TEST(Documents, ManualPageNamesTheOptionsOfTheTable) {
  EXPECT_EQ(pageRows(fileText("docs/joinscope.1")), tableRows(true));
}

TEST(Documents, ManualPageNamesEveryExitStatus) {
  const Names statuses = numbersBehind(" = ", fileText("cli/common/exit_status.h"));
  EXPECT_EQ(statuses.size(), 21U);
  EXPECT_EQ(numbersBehind(".It ", fileText("docs/joinscope.1")), statuses);
}

}  // namespace
}  // namespace joinscope
