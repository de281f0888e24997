// The checks before a task, and which of them make up a gate.
#include "cli/gates.h"

#include <array>
#include <iostream>

#include "cli/account/password_check.h"
#include "cli/common/exit_status.h"
#include "cli/common/task_context.h"
#include "cli/options.h"
#include "cli/usage.h"

namespace joinscope {
namespace {

using Check = std::optional<int> (*)(const Run&);

std::optional<int> requireDomain(const Run& run) {
  if (run.context.joined || run.context.domainGiven) return {};
  usage("No domain specified\nSpecify a domain or join the machine to a domain\n");
  return exit_status::kUsageError;
}

std::optional<int> requireJoined(const Run& run) {
  if (run.context.joined) return {};
  std::cerr << "Not joined to any domain.\n";
  return exit_status::kNotJoined;
}

// The binding that this makes stays in the context for the task.
std::optional<int> requireGoodCredentials(const Run& run) {
  if (run.context.credentials == nullptr) return {};
  const int status = checkPassword(run.context, run.options.serverName, run.diag, true);
  return status == exit_status::kSuccess ? std::nullopt : std::optional(status);
}

struct GateEntry {
  Gate gate;
  std::array<Check, 2> checks;  ///< in this order; null is none
};

constexpr std::array kGates{
    GateEntry{Gate::none, {}},
    GateEntry{Gate::joinedOrDomain, {requireDomain}},
    GateEntry{Gate::joinedAndUser, {requireJoined, requireGoodCredentials}},
    GateEntry{Gate::user, {requireGoodCredentials}},
};

}  // namespace

std::optional<int> checkGate(Gate gate, const Run& run) {
  for (const GateEntry& row : kGates) {
    if (row.gate != gate) continue;
    for (const Check check : row.checks) {
      if (check == nullptr) continue;
      if (const std::optional<int> status = check(run)) return status;
    }
  }
  return {};
}

}  // namespace joinscope
