// Begin, end and hours become the arguments of journalctl(1).
#include "cli/support/log_window.h"

#include <algorithm>
#include <array>
#include <iostream>

#include "cli/common/command_runner.h"
#include "cli/common/task_context.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"
#include "tolk/base/times.h"

namespace joinscope {
namespace {

constexpr int kDefaultHours = 8;
constexpr std::time_t kSecondsPerHour = 3600;
constexpr char kJournalctl[] = "/usr/bin/journalctl";
constexpr char kNoPager[] = "--no-pager";

// journalctl(1) refuses a time before 1970, in whatever time zone it is told.
constexpr std::time_t kFirstTime = 24 * kSecondsPerHour;

std::string headlineOf(const std::string& begin, const std::string& end) {
  if (end.empty()) return "System logging information newer or of " + begin + ":";
  if (begin.empty()) return "System logging information older or of " + end + ":";
  return "System logging information from " + begin + ", to " + end + ":";
}

}  // namespace

LogWindow logWindow(const TaskContext& context, std::time_t now) {
  const std::string& begin = context.logBegin;
  const std::string& end = context.logEnd;
  if (begin.empty() && end.empty()) {
    const int hours = context.lastHours == 0 ? kDefaultHours : context.lastHours;
    return {.headline = "System logging information last '" + std::to_string(hours) + "' hours:",
            .since = "--since=" +
                     tolk::localTimeText(std::max(now - hours * kSecondsPerHour, kFirstTime),
                                         tolk::TimeForm::journal),
            .until = {}};
  }
  return {.headline = headlineOf(begin, end),
          .since = begin.empty() ? "" : "--since=" + begin,
          .until = end.empty() ? "" : "--until=" + end};
}

void showJournal(const TaskContext& context) {
  const LogWindow window = logWindow(context, std::time(nullptr));
  std::cout << window.headline << '\n';
  std::vector<std::string> words{kJournalctl, kNoPager};
  if (!window.since.empty()) words.push_back(window.since);
  if (!window.until.empty()) words.push_back(window.until);
  const int status = runCommands({words}, false);
  tolk::Logger::GetThreadPrivateLogger("cli.joinscope")
      .log(tolk::LogLevel::debug,
           tolk::formatText(
               "Use journalctl to get the logging information, command=%s %s %s %s, "
               "status=%d",
               {kJournalctl, kNoPager, window.since, window.until, std::to_string(status)}));
}

}  // namespace joinscope
