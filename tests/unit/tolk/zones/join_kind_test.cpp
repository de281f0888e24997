// What a computer object says about its join.
#include "tolk/zones/join_kind.h"

#include <gtest/gtest.h>

namespace tolk {
namespace {

TEST(JoinKind, OfAgentTexts) {
  const std::pair<const char*, JoinKind> rows[] = {
      {"Orvald 5.7.0 zone", JoinKind::zone},
      {"Orvald 4.2 auto", JoinKind::autoZone},
      {"Orvald 10.0 sprig", JoinKind::sprig},
      {"Orvald 4.10.1 oem ", JoinKind::oem},
      {"Orvald 4.1.9 zone", JoinKind::notRecorded},
      {"Orvald 3 zone", JoinKind::notRecorded},
      {"Orvald 4 zone", JoinKind::notRecorded},
      {"Orvald 5.7.0", JoinKind::unknown},
      {"Orvald 5.7.0 Zone", JoinKind::unknown},
      {"Orvald five zone", JoinKind::zone},
      {"Orvald ", JoinKind::unknown},
      {"Service Pack 2", JoinKind::notRecorded},
      {"", JoinKind::notRecorded},
  };
  for (const auto& [text, kind] : rows) EXPECT_EQ(joinKindOf(text), kind) << text;
}

}  // namespace
}  // namespace tolk
