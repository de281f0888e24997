// What is known to be wrong with the daemon's work.
#include "velkd/health.h"

#include "tolk/base/text.h"

namespace velkd {
std::string objectProblem(const DirectoryStatus& status) {
  switch (status.object) {
    case ObjectState::missing:
      return "The computer object does not exist any more. Join this computer again.";
    case ObjectState::foreign:
      return "The recorded security identifier of this computer (kset.hostsid) is not one of the "
             "domain " +
             status.domain + ". Run velkd adopt, or join this computer again.";
    case ObjectState::disabled:
      return "The computer object is disabled. Enable it in the directory.";
    case ObjectState::usable:
    case ObjectState::unknown:
      break;
  }
  return {};
}

std::vector<std::string> directoryProblems(const DirectoryStatus& status, std::time_t now) {
  std::vector<std::string> problems;
  if (status.joined && !status.connected) {
    problems.push_back(
        "There is no connection to the domain: " +
        (status.lastFailure.empty() ? "it has not been tried yet." : status.lastFailure));
  }
  if (std::string object = objectProblem(status); !object.empty()) {
    problems.push_back(std::move(object));
  }
  problems.insert(problems.end(), status.accountProblems.begin(), status.accountProblems.end());
  if (status.ticketEnd != 0 && now >= status.ticketEnd) {
    problems.emplace_back("The ticket of the computer account has ended and cannot be renewed.");
  }
  if (status.connected && !status.lastFailure.empty()) problems.push_back(status.lastFailure);
  return problems;
}

std::string statusLine(const DirectoryStatus& status, std::time_t now) {
  if (!status.joined) return "This host is in no domain.";
  const std::vector<std::string> problems = directoryProblems(status, now);
  return problems.empty() ? "Connected to " + tolk::printable(status.controller)
                          : tolk::printable(problems.front());
}

}  // namespace velkd
