// What is known of domain controllers, and what they are wanted for.
#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tolk {

/// What a controller is wanted for.
struct ServiceType {
  enum Enum { domainController = 0, globalCatalog, kdc };
};

/// What is known of one controller.
struct DCInfo {
  static constexpr std::uint8_t kUnverified =
      1;  ///< only its TCP port answered: names, sites and roles are not known

  bool found = false;       ///< the controller has answered a netlogon ping
  std::uint8_t flags = 0;   ///< kUnverified or 0
  std::uint32_t roles = 0;  ///< NetlogonFlag
  std::string host;         ///< lower case; as DNS, the configuration or the caller names it
  std::string domain;       ///< DNS name
  std::string forest;       ///< DNS name of the forest root
  std::string netbiosDomain;
  std::string dcSite;
  std::string
      clientSite;  ///< where the controller places this host; empty when no subnet covers it
  std::string nextClosestSite;  ///< empty when the controller does not say
  sockaddr_in address{};        ///< port 389
};

/// What a process has learnt by its searches, and how often that has spared it the network.
struct DiscoveryMemory {
  std::uint64_t hits = 0;           ///< questions answered from memory
  std::uint64_t misses = 0;         ///< questions that went to the network
  std::size_t failures = 0;         ///< searches without result that are believed for now
  std::vector<DCInfo> controllers;  ///< in the order of their names
};

}  // namespace tolk
