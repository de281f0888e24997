// The daemon knows better than the settings, which are read only while it is down.
#include "cli/status/orbinfo.h"

#include <unistd.h>

#include <iostream>

#include "cli/common/exit_status.h"
#include "cli/common/task_context.h"
#include "cli/status/cloud_route.h"
#include "facts/agent_state.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

int fail(const char* text) {
  std::cerr << text << '\n';
  return exit_status::kOrbUnknown;
}

int show(const CloudRoute& route, int status) {
  std::cout << tolk::printable(route.text) << '\n' << std::flush;
  return status;
}

}  // namespace

int orbinfo(TaskContext& context) {
  if (::getuid() != 0) {
    std::cerr << "You must be root to run --orbinfo.\n";
    return exit_status::kNotRoot;
  }
  if (!context.joined) {
    std::cerr << "Not joined to any domain.\n";
    return exit_status::kNotJoined;
  }
  const bool down = agentState() == AgentState::down;
  const CloudRoute route = down ? recordedRoute() : askForRoute();
  switch (route.state) {
    case CloudRoute::State::connected:
      return show(route, exit_status::kOrbConnected);
    case CloudRoute::State::throughProxy:
      return show(route, exit_status::kOrbThroughProxy);
    case CloudRoute::State::notConnected:
      return show(route, exit_status::kOrbNotConnected);
    case CloudRoute::State::stored:
      return show(route, exit_status::kOrbStored);
    case CloudRoute::State::none:
      return fail(down ? "Failed to get ORB info." : "Failed to get ORB info from velkd.");
    case CloudRoute::State::invalid:
      return fail("Get invalid ORB info from velkd.");
    case CloudRoute::State::damaged:
      break;
  }
  return exit_status::kOrbUnknown;
}

}  // namespace joinscope
