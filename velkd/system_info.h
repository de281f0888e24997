// The text of GetSystemInfo: one section for each module of the daemon.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tolk/base/properties.h"
#include "tolk/net/host_query.h"
#include "tolk/net/name_servers.h"
#include "tolk/net/network_state.h"
#include "velkd/counters.h"
#include "velkd/status.h"

namespace velkd {

/// What the sections tell about.
struct SystemFacts {
  bool privileged = false;  ///< the caller is root: only root sees the configuration
  std::time_t now = 0;
  DirectoryStatus directory;
  bool directoryIsSilent = false;               ///< the look that was asked for now is not over yet
  std::map<std::string, std::string> settings;  ///< join settings that have a value, by name
  std::string settingsProblem;                  ///< why the join is not usable; "" when it is
  tolk::Properties::Map config;
  std::vector<tolk::NameServer> nameServers;
  std::map<std::string, tolk::HostAnswer> hosts;  ///< that DNS has answered for
  tolk::DiscoveryMemory discovery;
  Counters::Picture counters;
  std::string cloud;  ///< cloudText()
};

/// Gathers the facts from this host and the two thread-safe sources; no network.
[[nodiscard]] SystemFacts readSystemFacts(bool privileged, const StatusBoard& board,
                                          const Counters& counters);

/// The sections whose bits are set, in the order of the bits. Pure.
[[nodiscard]] std::string systemInfoText(std::uint32_t modules, const SystemFacts& facts);

/// What the two pmon switches in `modules` ask for: true to enable, false to disable. Nothing when
/// neither is set, or both, as in the mask that stands for all modules.
[[nodiscard]] std::optional<bool> countingWanted(std::uint32_t modules);

}  // namespace velkd
