// What this host knows by itself is written before anybody is waited for.
#include "cli/status/join_status.h"

#include <unistd.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <exception>
#include <iostream>

#include "cli/account/computer_account.h"
#include "cli/common/exit_status.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/subnet_site.h"
#include "cli/common/task_context.h"
#include "cli/status/join_setting.h"
#include "facts/controllers.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/base/times.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/zones/computer_object_helper.h"

namespace joinscope {
namespace {

constexpr std::size_t kLabelColumns = 19;

void writeLine(std::ostream& out, std::string_view label, const std::string& value) {
  out << padRight(label, kLabelColumns) << tolk::printable(value) << '\n';
}

/// The subnet's site as a controller tells it; empty when none can be asked.
std::string discoverSubnetSite(const Run& run, const std::string& preferredSite) {
  try {
    return lookupSubnetSite(run.context.joinedDomain, preferredSite,
                            controllerOf(run.context.joinedDomain), &run.verbose);
  } catch (const std::exception& failure) {
    run.verbose << prefix(1) << "Exception: " << tolk::printable(failure.what()) << '\n';
    return {};
  }
}

PlaceFacts readPlaceFacts(const Run& run, AgentState state) {
  PlaceFacts facts{.controller = controllerInUse(run.context.joinedDomain),
                   .preferredSite = joinSetting(tolk::SETTING_MACHINE_SITE),
                   .subnetSite = {}};
  if (state != AgentState::connected) return facts;
  facts.subnetSite = joinSetting(tolk::SETTING_SUBNET_SITE);
  if (!facts.subnetSite) {
    facts.subnetSite = discoverSubnetSite(run, facts.preferredSite.value_or(kUnavailable));
  }
  return facts;
}

void writePasswordLastSet(const Run& run) {
  const std::string lastSet = formatPasswordLastSet(
      findComputerAccount(run.context, run.context.preWin2kHostName,
                          tolk::ComputerObjectHelper::getAttributes(), run.server, &run.verbose));
  if (lastSet != kUnavailable) writeLine(std::cout, "Last password set:", lastSet);
}

/// For somebody who reads along: the report has no place for a cause.
void pointToTheCause(AgentState state) {
  if (state == AgentState::connected || ::isatty(STDERR_FILENO) != 1) return;
  std::cerr << "joincheck(1) names the first cause of this, and what to do about it.\n";
}

}  // namespace

int joinStatusReport(TaskContext& context, const char* server, std::ostream* verbose) {
  if (!context.joined) {
    std::cout << "Not joined to any domain\n";
    return exit_status::kNotJoined;
  }
  writeJoinFacts(std::cout, readJoinFacts(context.joinedDomain));
  std::cout.flush();  // a daemon that does not answer is waited for
  const Run run(context, server, verbose);
  const AgentState state = agentState();
  writePlaceFacts(std::cout, readPlaceFacts(run, state));
  std::cout.flush();
  writeLine(
      std::cout, "Zone:",
      getJoinSetting(context, tolk::SETTING_ZONE_REALNAME, kUnavailable, verbose, server, true));
  std::cout.flush();
  if (state == AgentState::connected) {
    writePasswordLastSet(run);
    std::cout.flush();
  }
  writeLine(std::cout, "Orvald mode:", agentStateName(state));
  std::cout.flush();
  pointToTheCause(state);
  return exit_status::kSuccess;
}

void writeJoinFacts(std::ostream& out, const JoinFacts& facts) {
  writeLine(out, "Local host name:", facts.localHostName);
  writeLine(out, "Joined to domain:", facts.domain);
  writeLine(out, "Joined as:", facts.joinedAs.value_or(kUnavailable));
  if (facts.preWin2kName) writeLine(out, "Pre-win2K name:", *facts.preWin2kName);
}

void writePlaceFacts(std::ostream& out, const PlaceFacts& facts) {
  const std::string preferred = facts.preferredSite.value_or(kUnavailable);
  writeLine(out, "Current DC:", facts.controller.empty() ? kUnavailable : facts.controller);
  writeLine(out, "Preferred site:", preferred);
  if (!facts.subnetSite) return;
  if (*facts.subnetSite != preferred) writeLine(out, "Subnet site:", *facts.subnetSite);
  if (facts.subnetSite->empty()) {
    out << "  Warning! Unable to locate computer's subnet site in Active Directory.\n"
           "  Please advise your system administrator.\n";
  }
}

void printStatusHeader(TaskContext& context) {
  std::cout << "Pellion Orvald Status\n" << std::flush;
  std::optional<AgentState> state;
  if (context.joined) state = agentState();
  std::cout << prefix(1) << statusText(state) << '\n';
}

const char* statusText(std::optional<AgentState> state) {
  struct Row {
    AgentState state;
    const char* text;
  };
  static constexpr std::array kRows{
      Row{AgentState::connected, "Running in connected mode"},
      Row{AgentState::disconnected, "Running in disconnected mode"},
      Row{AgentState::starting, "Not accepting connections"},
      Row{AgentState::down, "Not running"},
      Row{AgentState::objectDeleted,
          "Running in disconnected mode because the computer object has been deleted in AD side"},
      Row{AgentState::objectDisabled,
          "Running in disconnected mode because the computer object has been disabled in AD side"},
  };
  for (const Row& row : kRows) {
    if (row.state == state) return row.text;
  }
  return state ? "Unknown" : "Not joined to any domain";
}

std::string formatPasswordLastSet(const boost::shared_ptr<tolk::ADObject>& object) {
  if (!object || !object->attributeExists(tolk::AD_PWCHG_LAST, true)) return kUnavailable;
  std::int64_t value = 0;
  try {
    value = (*object)[tolk::AD_PWCHG_LAST].toInt64();
  } catch (const tolk::SystemException&) {
    return kUnavailable;
  }
  const std::time_t seconds = value == 0 ? 0 : tolk::unixTimeOf(value);
  const std::string text = tolk::localTimeText(seconds);
  return text.empty() ? kUnavailable : text;
}

}  // namespace joinscope
