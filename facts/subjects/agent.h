// The agent daemon and the cloud platform, as far as this host uses them.
#pragma once

#include <cstdint>
#include <string>

#include "facts/asked.h"

namespace joinscope::facts {

struct Agent {
  bool installed = false;   ///< its state folder is there
  Asked asked;              ///< one call to it
  std::string state;        ///< as `joinscope --mode` names it
  std::int64_t status = 0;  ///< the exit status of that
  std::string version;      ///< of the daemon
  std::string ownVersion;   ///< of this command
  std::string controller;   ///< that it works with
  Asked logWritable;        ///< whether its log can be written
  Asked stateWritable;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("installed", self.installed);
    visit("asked", self.asked);
    visit("state", self.state);
    visit("status", self.status);
    visit("version", self.version);
    visit("ownVersion", self.ownVersion);
    visit("controller", self.controller);
    visit("logWritable", self.logWritable);
    visit("stateWritable", self.stateWritable);
  }
};

struct Platform {
  bool configured = false;
  std::string url;
  Asked reached;  ///< the daemon's own connection to it
  std::string proxy;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("configured", self.configured);
    visit("url", self.url);
    visit("reached", self.reached);
    visit("proxy", self.proxy);
  }
};

}  // namespace joinscope::facts
