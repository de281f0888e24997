// velkd's command line.
#include "velkd/options.h"

#include <gtest/gtest.h>

#include <vector>

namespace velkd {
namespace {

Options parse(std::vector<std::string> words) {
  words.insert(words.begin(), "velkd");
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  return parseOptions(static_cast<int>(words.size()), argv.data());
}

TEST(VelkdOptions, ValidLines) {
  EXPECT_EQ(parse({}).action, Action::daemon);
  EXPECT_EQ(parse({"unadopt"}).action, Action::unadopt);
  EXPECT_EQ(parse({"reload"}).action, Action::reload);
  EXPECT_EQ(parse({"adopt", "--help"}).action, Action::help);
  EXPECT_EQ(parse({"adopt"}).zoneChoice, ZoneChoice::automatic);
  EXPECT_EQ(parse({"adopt", "--null-zone"}).zoneChoice, ZoneChoice::none);
  const Options options =
      parse({"--domain=lab.test", "adopt", "--zone", "CN=z,DC=lab", "--schema", "orv_r2"});
  EXPECT_EQ(options.problem, "");
  EXPECT_EQ(options.action, Action::adopt);
  EXPECT_EQ(options.domain, "lab.test");
  EXPECT_EQ(options.zoneChoice, ZoneChoice::named);
  EXPECT_EQ(options.zone, "CN=z,DC=lab");
  EXPECT_EQ(options.schema, "orv_r2");
}

TEST(VelkdOptions, InvalidLinesSayWhy) {
  struct Row {
    std::vector<std::string> words;
    const char* problem;
  };
  const std::string unknown = "unknown option, or an option without its argument";
  for (const Row& row : {
           Row{{"jo\nin"}, "unknown word 'jo\\x0Ain'"},
           Row{{"adopt", "lab.test"}, "too many words"},
           Row{{"adopt", "--zoe"}, unknown.c_str()},
           Row{{"adopt", "--domain"}, unknown.c_str()},
           Row{{"--auto-zone"}, "that option goes with adopt"},
           Row{{"unadopt", "--domain=x"}, "that option goes with adopt"},
           Row{{"adopt", "--auto-zone", "--null-zone"}, "only one zone may be chosen"},
           Row{{"adopt", "--zone="}, "--zone needs a distinguished name"},
           Row{{"adopt", "--schema=orv_r2"}, "--schema goes with --zone"},
           Row{{"adopt", "--zone=CN=z", "--schema=auto"}, "there is no schema 'auto'"},
       }) {
    EXPECT_EQ(parse(row.words).problem, row.problem);
  }
}

}  // namespace
}  // namespace velkd
