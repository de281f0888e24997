// The window of the journal, and words for the shell.
#include "cli/support/log_window.h"

#include <gtest/gtest.h>

#include "cli/common/command_runner.h"
#include "cli/common/task_context.h"
#include "tolk/krb5/scoped_variable.h"

namespace joinscope {
namespace {

TEST(LogWindow, CountsHoursAcrossTheChangeOfClocks) {
  struct Case {
    const char* zone;
    std::time_t now;
    int hours;
    const char* since;
  };
  // Clocks in Berlin went forward at 2026-03-29 01:00 UTC, and back at 2026-10-25 01:00 UTC.
  const Case cases[] = {
      {"Europe/Berlin", 1774753200, 0, "--since=2026-03-28 20:00:00"},
      {"Europe/Berlin", 1792897200, 0, "--since=2026-10-24 21:00:00"},
      {"UTC", 1774753200, 1, "--since=2026-03-29 02:00:00"},
      {"America/Lima", 1774753200, 999999, "--since=1970-01-01 19:00:00"},
  };
  for (const Case& row : cases) {
    const tolk::ScopedVariable zone("TZ", row.zone);
    ::tzset();
    TaskContext context(nullptr, nullptr, nullptr);
    context.lastHours = row.hours;
    EXPECT_EQ(logWindow(context, row.now).since, row.since);
  }
  ::tzset();
}

TEST(ShellQuoted, KeepsEveryByte) {
  EXPECT_EQ(shellQuoted("a;id"), "'a;id'");
  EXPECT_EQ(shellQuoted("$(id) `x` \"q\" *\n-n"), "'$(id) `x` \"q\" *\n-n'");
  EXPECT_EQ(shellQuoted("it's"), "'it'\\''s'");
  EXPECT_EQ(shellQuoted(""), "''");
}

}  // namespace
}  // namespace joinscope
