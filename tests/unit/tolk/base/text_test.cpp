// Texts: what is shown of bytes that others wrote, and the formatting helpers.
#include "tolk/base/text.h"

#include <gtest/gtest.h>

namespace tolk {
namespace {

using namespace std::string_literals;

struct Shown {
  const char* about;
  std::string bytes;
  std::string printable;
  std::string escaped;
};

TEST(Text, NothingOfForeignTextReachesTheTerminalUnseen) {
  const Shown rows[] = {
      {"plain", "dc1.example.com", "dc1.example.com", "dc1.example.com"},
      {"letters", "Zürich 東京", "Zürich 東京", "Zürich 東京"},
      {"terminal sequence", "\x1b[2J", "\\x1B[2J", "\\x1B[2J"},
      {"line ends", "a\r\nb\tc", "a\\x0D\\x0Ab\\x09c", "a\\r\\nb\\tc"},
      {"backslash", "a\\b", "a\\b", "a\\\\b"},
      {"NUL and DEL", "a\0\x7f"s, "a\\x00\\x7F", "a\\x00\\x7F"},
      {"C1 control", "\xC2\x9B", "\\u{009B}", "\\u{009B}"},
      {"no-break and zero-width space", "a\u00A0b\u200Bc", "a\\u{00A0}b\\u{200B}c",
       "a\\u{00A0}b\\u{200B}c"},
      {"direction override", "\u202Etxt", "\\u{202E}txt", "\\u{202E}txt"},
      {"tag character", "\U000E0041", "\\u{E0041}", "\\u{E0041}"},
      {"byte of Latin-1", "Z\xFCrich", "Z\\xFCrich", "Z\\xFCrich"},
      {"overlong slash", "\xC0\xAF", "\\xC0\\xAF", "\\xC0\\xAF"},
      {"surrogate", "\xED\xA0\x80", "\\xED\\xA0\\x80", "\\xED\\xA0\\x80"},
      {"cut letter", "a\xE6\x9D", "a\\xE6\\x9D", "a\\xE6\\x9D"},
      {"broken lead byte before a letter", "\xE6ü", "\\xE6ü", "\\xE6ü"},
  };
  for (const Shown& row : rows) {
    SCOPED_TRACE(row.about);
    EXPECT_EQ(printable(row.bytes), row.printable);
    EXPECT_EQ(escapeOnOneLine(row.bytes), row.escaped);
  }
}

TEST(Text, ValidityOfUtf8) {
  EXPECT_TRUE(isUtf8("\U0001F600\0é"s));
  EXPECT_FALSE(isUtf8("\xF4\x90\x80\x80"));  // beyond U+10FFFF
  EXPECT_FALSE(isUtf8("abc\xC3"));
}

TEST(Text, SplitKeepsEmptyPieces) {
  EXPECT_EQ(split("", ','), std::vector<std::string>({""}));
  EXPECT_EQ(split(",a,,b,", ','), std::vector<std::string>({"", "a", "", "b", ""}));
}

TEST(Text, CaseTouchesAsciiOnly) {
  EXPECT_EQ(toUpper("aé_z"), "Aé_Z");
  EXPECT_EQ(toLower("AÉ[Z"), "aÉ[z");
  EXPECT_TRUE(lessIgnoringCase("a_b", "A~B"));
  EXPECT_TRUE(lessIgnoringCase("z", "\xC3"));  // bytes compare unsigned
  EXPECT_FALSE(lessIgnoringCase("KEY", "key"));
}

TEST(Text, FormatsWithWidthsAndSurvivesAMismatch) {
  EXPECT_EQ(formatText("task: %s", {"diag"}), "task: diag");
  EXPECT_EQ(formatText("%-6s|%4d|%%", {"ab", "7"}), "ab    |   7|%");
  EXPECT_EQ(formatText("%s and %s", {"one"}), "one and ");
  EXPECT_EQ(formatText("none", {"one"}), "none");
  EXPECT_EQ(formatText("%s", {"%s %d"}), "%s %d");
}

}  // namespace
}  // namespace tolk
