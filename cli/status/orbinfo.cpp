// The daemon knows better than the settings, which are read only while it is down.
#include "cli/status/orbinfo.h"

#include <unistd.h>

#include <iostream>

#include "cli/common/exit_status.h"
#include "cli/common/task_context.h"
#include "cli/status/platform_way.h"
#include "facts/agent_state.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

int fail(const char* text) {
  std::cerr << text << '\n';
  return exit_status::kOrbUnknown;
}

int show(const PlatformWay& way, int status) {
  std::cout << tolk::printable(way.text) << '\n' << std::flush;
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
  const PlatformWay way = down ? recordedPlatform() : askForPlatform();
  switch (way.state) {
    case PlatformWay::State::connected:
      return show(way, exit_status::kOrbConnected);
    case PlatformWay::State::throughProxy:
      return show(way, exit_status::kOrbThroughProxy);
    case PlatformWay::State::notConnected:
      return show(way, exit_status::kOrbNotConnected);
    case PlatformWay::State::stored:
      return show(way, exit_status::kOrbStored);
    case PlatformWay::State::none:
      return fail(down ? "Failed to get ORB info." : "Failed to get ORB info from velkd.");
    case PlatformWay::State::invalid:
      return fail("Get invalid ORB info from velkd.");
    case PlatformWay::State::damaged:
      break;
  }
  return exit_status::kOrbUnknown;
}

}  // namespace joinscope
