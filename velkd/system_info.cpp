// The text of GetSystemInfo.
#include "velkd/system_info.h"

#include <array>
#include <sstream>
#include <string_view>
#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/base/times.h"
#include "tolk/net/host_memory.h"
#include "tolk/net/interfaces.h"
#include "tolk/rpc/daemon_protocol.h"
#include "velkd/connector_service.h"
#include "velkd/health.h"

namespace velkd {
namespace {

using Output = std::ostringstream;

void line(Output& out, std::string_view label, const std::string& value) {
  out << "    " << label << ": " << (value.empty() ? "<none>" : tolk::printable(value)) << '\n';
}

void line(Output& out, std::string_view label, std::uint64_t value) {
  line(out, label, std::to_string(value));
}

std::string setting(const SystemFacts& facts, std::string_view name) {
  const auto found = facts.settings.find(std::string(name));
  return found == facts.settings.end() ? std::string() : found->second;
}

void writeNameServer(Output& out, const tolk::NameServer& server) {
  const std::string good = server.answers == 0 ? "not asked yet" : "answers";
  out << "    Name server: " << server.address << '\n'
      << "      State: " << (server.fault.empty() ? good : server.fault) << '\n'
      << "      Answers: " << server.answers << '\n'
      << "      Failures: " << server.failures << '\n';
}

void writeDns(Output& out, const SystemFacts& facts) {
  for (const tolk::NameServer& server : facts.nameServers) writeNameServer(out, server);
  if (facts.nameServers.empty()) line(out, "Name server", "not asked yet");
  for (const auto& [name, answer] : facts.hosts) {
    for (const in_addr& address : answer.addresses) {
      line(out, "Host", name + ' ' + tolk::InetNToA(address.s_addr));
    }
  }
  line(out, "Answers from memory (hits)", facts.discovery.hits);
  line(out, "Questions to the network (misses)", facts.discovery.misses);
  line(out, "Searches for controllers that failed lately", facts.discovery.failures);
}

void writeDomain(Output& out, const SystemFacts& facts) {
  line(out, "Domain", setting(facts, tolk::SETTING_DOMAIN_NAME));
  line(out, "Forest", facts.directory.forest);
  line(out, "Joined as", setting(facts, tolk::SETTING_HOST_NAME));
  line(out, "Pre-win2K name", setting(facts, tolk::SETTING_PREW2K_HOST_NAME));
  line(out, "Security identifier", setting(facts, tolk::SETTING_HOSTSID));
  line(out, "Preferred site", setting(facts, tolk::SETTING_MACHINE_SITE));
  line(out, "Subnet site", setting(facts, tolk::SETTING_SUBNET_SITE));
}

void writeNetState(Output& out, const SystemFacts& facts) {
  line(out, "Controllers that are remembered", facts.discovery.controllers.size());
  for (const tolk::DCInfo& info : facts.discovery.controllers) {
    out << "    " << tolk::printable(info.host) << '\n';
    const bool named = (info.flags & tolk::DCInfo::kUnverified) == 0;
    out << "      Of domain: " << tolk::printable(named ? info.domain : "<not known>") << '\n'
        << "      In site: " << tolk::printable(named ? info.dcSite : "<not known>") << '\n';
  }
}

const char* objectText(ObjectState state) {
  switch (state) {
    case ObjectState::usable:
      return "usable";
    case ObjectState::missing:
      return "does not exist";
    case ObjectState::foreign:
      return "does not exist; the recorded identifier is of another domain";
    case ObjectState::disabled:
      return "disabled";
    case ObjectState::unknown:
      break;
  }
  return "not looked at yet";
}

std::string timeOrNothing(std::time_t time) {
  return time == 0 ? std::string() : tolk::localTimeText(time);
}

void writeAgent(Output& out, const SystemFacts& facts) {
  const DirectoryStatus& status = facts.directory;
  line(out, "Binding", status.connected ? "connected" : "not connected");
  line(out, "Controller", status.controller);
  line(out, "Account", status.principal);
  line(out, "Computer object", status.objectDn);
  line(out, "State of the computer object", objectText(status.object));
  line(out, "Last look at it", timeOrNothing(status.lastCheck));
  line(out, "Connected since", timeOrNothing(status.connectedSince));
  line(out, "Ticket ends", timeOrNothing(status.ticketEnd));
  line(out, "Reconnects", status.connects > 0 ? status.connects - 1 : 0);
  line(out, "Failed attempts since", status.failures);
  line(out, "Last failure", status.lastFailure);
  line(out, "Object cache hits", status.cacheHits);
  line(out, "Object cache misses", status.cacheMisses);
}

// Whoever keeps a secret in the configuration finds its key here, not its value.
bool namesSecret(const std::string& key) {
  const std::string lower = tolk::toLower(key);
  constexpr std::array kWords{"password", "passwd", "secret", "credential", "token", "private"};
  for (const char* word : kWords) {
    if (lower.find(word) != std::string::npos) return true;
  }
  return false;
}

void writeConfig(Output& out, const SystemFacts& facts) {
  if (!facts.privileged) {
    out << "    Only root may see the configuration.\n";
    return;
  }
  for (const auto& [key, value] : facts.config) {
    line(out, tolk::printable(key), namesSecret(key) ? "<hidden>" : value);
  }
  if (facts.config.empty()) out << "    Every property has its default.\n";
}

void writeCounters(Output& out, const SystemFacts& facts) {
  line(out, "Counting", facts.counters.enabled ? "on" : "off");
  for (const auto& [method, count] : facts.counters.methods) {
    out << "    " << method << ": " << count.calls << " calls, " << count.errors << " errors, "
        << count.total.count() << " us in all, " << count.longest.count() << " us the longest\n";
  }
}

void writeZone(Output& out, const SystemFacts& facts) {
  line(out, "Zone", setting(facts, tolk::SETTING_ZONE_REALNAME));
  line(out, "Schema", setting(facts, tolk::SETTING_SCHEMA));
  line(out, "Zone identifier", setting(facts, tolk::SETTING_ZONE_GUID));
}

std::vector<std::string> problemsOf(const SystemFacts& facts) {
  std::vector<std::string> problems = directoryProblems(facts.directory, facts.now);
  if (!facts.settingsProblem.empty()) problems.insert(problems.begin(), facts.settingsProblem);
  if (facts.directoryIsSilent) {
    const std::string last = timeOrNothing(facts.directory.lastCheck);
    problems.push_back(
        "The directory has not answered in time." +
        (last.empty() ? "" : " The last look at the computer object is of " + last + "."));
  }
  return problems;
}

void writeHealth(Output& out, const SystemFacts& facts) {
  const std::vector<std::string> problems = problemsOf(facts);
  for (const std::string& problem : problems) out << "    " << tolk::printable(problem) << '\n';
  if (problems.empty()) out << "    No problem is known.\n";
}

void writeOrb(Output& out, const SystemFacts& facts) {
  out << (facts.cloud.empty() ? "    Not configured.\n" : facts.cloud);
}

struct Section {
  std::uint32_t bits;
  const char* title;
  void (*write)(Output&, const SystemFacts&);
};

constexpr std::array kSections{
    Section{tolk::daemon_module::kDns, "DNS", writeDns},
    Section{tolk::daemon_module::kDomain, "Domain", writeDomain},
    Section{tolk::daemon_module::kNetState, "Network state", writeNetState},
    Section{tolk::daemon_module::kAdAgent, "Active Directory agent", writeAgent},
    Section{tolk::daemon_module::kConfig, "Configuration", writeConfig},
    Section{tolk::daemon_module::kPmon | tolk::daemon_module::kPmonEnable |
                tolk::daemon_module::kPmonDisable,
            "Performance", writeCounters},
    Section{tolk::daemon_module::kZone, "Zone", writeZone},
    Section{tolk::daemon_module::kHealth, "Health", writeHealth},
    Section{tolk::daemon_module::kOrb, "Cloud", writeOrb},
};

}  // namespace

SystemFacts readSystemFacts(bool privileged, const StatusBoard& board, const Counters& counters) {
  SystemFacts facts{.privileged = privileged,
                    .now = std::time(nullptr),
                    .directory = board.get(),
                    .config = tolk::Props().all(),
                    .nameServers = tolk::NameServers::instance().known(),
                    .hosts = tolk::HostMemory::instance().known(),
                    .discovery = tolk::NetworkState::memory(),
                    .counters = counters.get(),
                    .cloud = cloudText(privileged)};
  constexpr std::array kSettings{
      tolk::SETTING_DOMAIN_NAME,   tolk::SETTING_HOST_NAME,    tolk::SETTING_PREW2K_HOST_NAME,
      tolk::SETTING_HOSTSID,       tolk::SETTING_MACHINE_SITE, tolk::SETTING_SUBNET_SITE,
      tolk::SETTING_ZONE_REALNAME, tolk::SETTING_SCHEMA,       tolk::SETTING_ZONE_GUID};
  try {
    for (const std::string_view name : kSettings) {
      facts.settings[std::string(name)] = tolk::loadSetting(name);
    }
    tolk::CheckEssentialKSets();
  } catch (const tolk::Base_Exception& e) {
    facts.settingsProblem = e.what();
  }
  return facts;
}

std::string systemInfoText(std::uint32_t modules, const SystemFacts& facts) {
  Output out;
  for (const Section& section : kSections) {
    if ((modules & section.bits) == 0) continue;
    out << "  " << section.title << '\n';
    section.write(out, facts);
  }
  return std::move(out).str();
}

std::optional<bool> countingWanted(std::uint32_t modules) {
  const bool enable = (modules & tolk::daemon_module::kPmonEnable) != 0;
  const bool disable = (modules & tolk::daemon_module::kPmonDisable) != 0;
  if (enable == disable) return std::nullopt;
  return enable;
}

}  // namespace velkd
