// What was refused rests; what changes that.
#include "facts/refusals.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/unit/tolk/base/scratch_directory.h"

namespace joinscope::facts {
namespace {

TEST(RefusalsTest, RestHalfAnHourThenADay) {
  constexpr std::int64_t kNow = 1'800'000'000;
  const struct {
    std::int64_t count;
    std::int64_t age;
    bool may;
  } rows[] = {{0, 0, true},     {1, 1799, false},  {1, 1800, true},  {2, 1800, false},
              {9, 86400, true}, {2, -3600, false}, {2, -90000, true}};
  for (const auto& row : rows) {
    const Refusals::Entry entry{
        .owner = "o", .what = "w", .count = row.count, .last = kNow - row.age};
    EXPECT_EQ(row.may, Refusals::mayShow(entry, kNow)) << row.count << " " << row.age;
  }
}

TEST(RefusalsTest, AreKeptForTheNextRunAndForgottenWithTheSuccess) {
  const ScratchDirectory scratch;
  const std::string folder = scratch.path() + "/refusals";
  {
    Refusals first(folder);
    first.noteAccepted("keytab 1", "17", 50);
    first.noteAccepted("keytab 1", "18", 60);
    first.noteRefused("keytab 1", "23", 100);
    first.noteRefused(
        "user\t\n"
        "x",
        "password", 100);
  }
  struct stat state {};
  ASSERT_EQ(0, ::stat((folder + "/refused").c_str(), &state));
  EXPECT_EQ(0600U, state.st_mode & 07777U);
  Refusals next(folder);
  EXPECT_EQ(1, next.find("keytab 1", "23").value().count);
  EXPECT_EQ(0, next.find("keytab 1", "17").value().count);
  EXPECT_FALSE(next.find("keytab 2", "23").has_value());
  next.noteRefused("keytab 1", "18", 200);  // was good: the password has changed
  EXPECT_FALSE(next.find("keytab 1", "17").has_value());
  next.noteAccepted("keytab 1", "23", 300);
  EXPECT_EQ(0, next.find("keytab 1", "23").value().count);
}

}  // namespace
}  // namespace joinscope::facts
