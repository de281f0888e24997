// Facts files: what is written is read again, and what is none is refused with its place.
#include "facts/facts_file.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/support/failure_of.h"

namespace joinscope::facts {
namespace {

TEST(FactsFileTest, GivesBackWhatWasWritten) {
  Facts facts;
  facts.join.domain = "lab.test";
  facts.keytab.mode = -999999999999999;
  facts.network.controllers.resize(1);
  facts.network.controllers[0].endpoints.resize(2);
  facts.network.controllers[0].endpoints[1].ntpAhead = -0.25;
  facts.network.controllers[0].endpoints[1].ping = {Outcome::refused, "no\x1b[31m\n\"", 5, 1.5};
  facts.kerberos.config.lookupKdc = false;
  const std::string text = writeFacts(facts);
  EXPECT_EQ(text, writeFacts(readFacts(text)));
  const Facts read = readFacts(text);
  EXPECT_EQ(facts.network.controllers[0].endpoints[1].ping.reason,
            read.network.controllers[0].endpoints[1].ping.reason);
  EXPECT_EQ(Outcome::refused, read.network.controllers[0].endpoints[1].ping.outcome);
  EXPECT_EQ(-0.25, read.network.controllers[0].endpoints[1].ntpAhead);
  EXPECT_FALSE(read.network.controllers[0].endpoints[0].ntpAhead.has_value());
}

TEST(FactsFileTest, StaysJsonForAnyValue) {
  Facts facts;
  facts.host.name = std::string("a\xff\0b", 4);
  facts.run.seconds = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ("a\\xFF\\x00b", readFacts(writeFacts(facts)).host.name);
}

TEST(FactsFileTest, RefusesWhatIsNoneAndSaysWhere) {
  const struct {
    const char* text;
    const char* wanted;
  } rows[] = {
      {"", "Bad JSON at byte 0"},
      {R"({"run":{"schema":1},"host":{"na)", "Bad JSON at byte 31"},
      {"[]", "The whole is not an object"},
      {"{}", "run.schema is missing"},
      {R"({"run":{"schema":2}})", "written by a newer joincheck; this one reads up to 1"},
      {R"({"run":{"schema":1},"host":{"now":"soon"}})", "host.now is not a whole number"},
      {R"({"run":{"schema":1},"network":{"controllers":[{},{"endpoints":[{"ports":[1]}]}]}})",
       "network.controllers[1].endpoints[0].ports[0] is not an object"},
      {R"({"run":{"schema":1},"keytab":{"read":{"outcome":"well"}}})",
       "keytab.read.outcome is not the name of an outcome"},
  };
  for (const auto& row : rows) {
    const std::string failure =
        tolk::test::failureOf<tolk::BadDataException>([&row] { return readFacts(row.text); });
    EXPECT_NE(std::string::npos, failure.find(row.wanted)) << row.text << " gave " << failure;
  }
}

}  // namespace
}  // namespace joinscope::facts
