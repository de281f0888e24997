// os-release(5) values with every way of quoting.
#include "tolk/base/os_version.h"

#include <gtest/gtest.h>

namespace tolk {
namespace {

TEST(OsVersion, QuotesOfTheShell) {
  const std::pair<const char*, const char*> rows[] = {
      {"NAME=Fedora\n", "Fedora"},
      {"NAME='a \"b\" \\c'\n", "a \"b\" \\c"},
      {"NAME=\"a \\\"b\\\" \\$c\"\n", "a \"b\" $c"},
      {"PRETTY_NAME=x\nNAMES=y\n# NAME=z\n", ""},
      {"NAME=one\r\nNAME=two\r\n", "two"},
      {"NAME=\"open", "open"},
      {"NAME=\\", "\\"},
  };
  for (const auto& [text, expected] : rows) {
    EXPECT_EQ(osReleaseValue(text, "NAME"), expected) << text;
  }
}

}  // namespace
}  // namespace tolk
