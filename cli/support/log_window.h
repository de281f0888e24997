// The part of the system's journal that a support report shows.
#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace joinscope {

struct TaskContext;

/// What the report says about the window, and the arguments that have journalctl(1) show it.
struct LogWindow {
  std::string headline;
  std::string since;  ///< "--since=..." or ""
  std::string until;  ///< "--until=..." or ""
};

/// The window of the context's begin, end and hours. Without any, the last eight hours before
/// `now`, in local time; more hours than there are since 1970 begin there.
LogWindow logWindow(const TaskContext& context, std::time_t now);

/// Prints the headline and the journal.
void showJournal(const TaskContext& context);

}  // namespace joinscope
