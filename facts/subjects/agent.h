// The agent daemon and the cloud platform, as far as this host uses them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "facts/asked.h"

namespace joinscope::facts {

struct Agent {
  bool installed = false;   ///< its state folder is there
  std::int64_t status = 0;  ///< of the computer object through it, as `joinscope --mode` ends
  std::string state;        ///< and as it names that
  double seconds = 0;       ///< until it had told
  Asked asked;              ///< what else was asked of it:
  std::string version;      ///< its release
  std::string ownVersion;   ///< of this command
  std::string controller;   ///< that it works with
  std::vector<std::string> problems;  ///< that it knows itself
  Asked logWritable;
  Asked stateWritable;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("installed", self.installed);
    visit("status", self.status);
    visit("state", self.state);
    visit("seconds", self.seconds);
    visit("asked", self.asked);
    visit("version", self.version);
    visit("ownVersion", self.ownVersion);
    visit("controller", self.controller);
    visit("problems", self.problems);
    visit("logWritable", self.logWritable);
    visit("stateWritable", self.stateWritable);
  }
};

/// The cloud platform, by the daemon's own connection to it.
struct Platform {
  Asked asked;
  std::int64_t state =
      0;            ///< 0 none is configured, 1 connected, 2 through a proxy, 3 not connected
  std::string url;  ///< with the proxy

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("asked", self.asked);
    visit("state", self.state);
    visit("url", self.url);
  }
};

}  // namespace joinscope::facts
