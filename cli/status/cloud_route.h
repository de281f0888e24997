// The way to the cloud platform that this host uses.
#pragma once

#include <string>

namespace joinscope {

struct CloudRoute {
  enum class State {
    connected,
    throughProxy,
    notConnected,
    stored,   ///< what the settings record; nobody has tried it
    none,     ///< no way is known
    invalid,  ///< the daemon's answer is none of these
    damaged   ///< the settings are not in their format
  };
  State state = State::none;
  std::string text;  ///< the first four: "PLATFORM," and the host and port on the way there
};

/// As the agent daemon knows it, or its settings; why there is none is a trouble
/// (tolk/base/troubles.h). Nothing is thrown.
CloudRoute askForRoute();
CloudRoute recordedRoute();

}  // namespace joinscope
