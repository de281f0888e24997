// What went wrong, as text.
#pragma once

#include <exception>
#include <string>

namespace joinscope {

struct TaskContext;

/// The message. It may quote names from the network: what a terminal would act on is escaped, line
/// ends are not.
std::string errorText(const std::exception& error);

/// Writes to standard output why the run has no binding.
void showBindFailure(const TaskContext& context);

}  // namespace joinscope
