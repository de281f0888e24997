// What is known to be wrong with the daemon's work, and the line about it for the service manager.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "velkd/status.h"

namespace velkd {

/// The problems at `now`, each one sentence or two with its remedy; the gravest first. Pure.
[[nodiscard]] std::vector<std::string> directoryProblems(const DirectoryStatus& status,
                                                         std::time_t now);

/// What the directory last said against the computer object; "" when nothing. Pure.
[[nodiscard]] std::string objectProblem(const DirectoryStatus& status);

/// One line for STATUS= (sd_notify(3)): the first problem, or where the daemon is connected. Pure.
[[nodiscard]] std::string statusLine(const DirectoryStatus& status, std::time_t now);

}  // namespace velkd
