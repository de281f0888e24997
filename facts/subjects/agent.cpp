// The daemon's state as the command shows it, and whether it can write what it has to.
#include "facts/subjects/agent.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "facts/agent_state.h"
#include "facts/gathering.h"
#include "tolk/base/join_settings.h"
#include "tolk/rpc/local_rpc_session.h"

namespace joinscope::facts {
namespace {

constexpr char kLogPath[] = "/var/log/orvald.log";

Asked askWritable(const char* path) {
  if (::access(path, W_OK) == 0) return {.outcome = Outcome::answered};
  return {.outcome = Outcome::failed, .reason = std::strerror(errno), .code = errno};
}

}  // namespace

void askAgent(const Question& /*question*/, const Facts& /*local*/, const Publish& publish) {
  Agent agent;
  agent.installed = ::access(tolk::kStateDirectory, F_OK) == 0;
  publish([&agent](Facts& facts) { facts.agent = agent; });
  if (!agent.installed) return;
  agent.stateWritable = askWritable(tolk::kStateDirectory);
  agent.logWritable = askWritable(kLogPath);
  AgentState state{};
  agent.asked = ask([&] {
    state = agentState();
    if (state == AgentState::connected) agent.controller = tolk::LocalRpcSession().getCurrentDC();
  });
  agent.state = agentStateName(state);
  agent.status = static_cast<int>(state);
  publish([&agent](Facts& facts) { facts.agent = agent; });
}

}  // namespace joinscope::facts
