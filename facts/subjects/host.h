// This host as it knows itself: names, addresses, name service switch, room.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "facts/asked.h"

namespace joinscope::facts {

/// A line of hosts(5).
struct HostsLine {
  std::string address;
  std::vector<std::string> names;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("address", self.address);
    visit("names", self.names);
  }
};

/// Room on the file system of a folder.
struct Room {
  std::string folder;
  Asked asked;
  std::int64_t freeBytes = 0;  ///< for those who are not root
  std::int64_t freeFiles = 0;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("folder", self.folder);
    visit("asked", self.asked);
    visit("freeBytes", self.freeBytes);
    visit("freeFiles", self.freeFiles);
  }
};

struct Host {
  std::string name;      ///< gethostname(2)
  std::string system;    ///< operating system and version
  bool root = false;     ///< whether this process may read what only root may
  std::int64_t now = 0;  ///< this clock when the facts were gathered, seconds since 1970
  std::vector<std::string> addresses;     ///< IPv4 and IPv6, not loopback nor link-local
  std::vector<HostsLine> hostsFile;       ///< without the lines of loopback addresses for localhost
  std::vector<std::string> hostsSources;  ///< of the line "hosts" of nsswitch.conf(5), in order
  std::vector<Room> room;
  Asked clockSource;          ///< asking the kernel whether a time service leads this clock
  bool synchronised = false;  ///< adjtimex(2) without STA_UNSYNC

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("name", self.name);
    visit("system", self.system);
    visit("root", self.root);
    visit("now", self.now);
    visit("addresses", self.addresses);
    visit("hostsFile", self.hostsFile);
    visit("hostsSources", self.hostsSources);
    visit("room", self.room);
    visit("clockSource", self.clockSource);
    visit("synchronised", self.synchronised);
  }
};

/// Reads files and asks the kernel; no network.
Host readHost();

}  // namespace joinscope::facts
