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

/// The bits of the modules.
struct Module {
  static constexpr std::uint32_t dns = 0x1;
  static constexpr std::uint32_t domain = 0x2;
  static constexpr std::uint32_t netState = 0x4;
  static constexpr std::uint32_t adAgent = 0x8;
  static constexpr std::uint32_t config = 0x10;
  static constexpr std::uint32_t pmon = 0x80;
  static constexpr std::uint32_t pmonEnable = 0x100;
  static constexpr std::uint32_t pmonDisable = 0x200;
  static constexpr std::uint32_t zone = 0x400;
  static constexpr std::uint32_t health = 0x800;
  static constexpr std::uint32_t orb = 0x1000;
};

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
