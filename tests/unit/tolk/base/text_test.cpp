// Texts: what is shown of bytes that others wrote, and the formatting helpers.
#include "tolk/base/text.h"

#include <gtest/gtest.h>

namespace tolk {
namespace {

using namespace std::string_literals;

TEST(Text, NothingOfForeignTextReachesTheTerminalUnseen) {
  struct Row {
    const char* about;
    std::string bytes;
    std::string printable;
    std::string escaped;
  };
  const Row rows[] = {
      {"letters", "Zürich 東京", "Zürich 東京", "Zürich 東京"},
      {"line ends", "a\r\nb\tc", "a\\x0D\\x0Ab\\x09c", "a\\r\\nb\\tc"},
      {"backslash", "a\\b", "a\\b", "a\\\\b"},
      {"NUL, escape and DEL", "\0\x1b\x7f"s, "\\x00\\x1B\\x7F", "\\x00\\x1B\\x7F"},
      {"C1 control", "\xC2\x9B", "\\u{009B}", "\\u{009B}"},
      {"blanks that are none", "\u00A0\u200B", "\\u{00A0}\\u{200B}", "\\u{00A0}\\u{200B}"},
      {"direction override", "\u202Etxt", "\\u{202E}txt", "\\u{202E}txt"},
      {"tag character", "\U000E0041", "\\u{E0041}", "\\u{E0041}"},
      {"overlong slash", "\xC0\xAF", "\\xC0\\xAF", "\\xC0\\xAF"},
      {"surrogate", "\xED\xA0\x80", "\\xED\\xA0\\x80", "\\xED\\xA0\\x80"},
      {"cut letter", "a\xE6\x9D", "a\\xE6\\x9D", "a\\xE6\\x9D"},
      {"broken lead byte before a letter", "\xE6ü", "\\xE6ü", "\\xE6ü"},
      {"beyond Unicode", "\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80", "\\xF4\\x90\\x80\\x80"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.about);
    EXPECT_EQ(printable(row.bytes), row.printable);
    EXPECT_EQ(escapeOnOneLine(row.bytes), row.escaped);
  }
}

TEST(Text, ValidityOfUtf8) {
  EXPECT_TRUE(isUtf8("\U0001F600\0é"s));
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
  EXPECT_EQ(formatText("%-6s|%4d|%%", {"ab", "7"}), "ab    |   7|%");
  EXPECT_EQ(formatText("%s and %s", {"one"}), "one and ");
  EXPECT_EQ(formatText("none", {"%s %d"}), "none");
  EXPECT_EQ(formatText("%s", {"%s %d"}), "%s %d");
}

}  // namespace
}  // namespace tolk
