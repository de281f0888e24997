// The daemon's state as the command shows it, what it knows to be wrong itself, and whether it can
// write what it has to.
#include "facts/subjects/agent.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

#include "facts/agent_state.h"
#include "facts/gathering.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/local_rpc_session.h"

namespace joinscope::facts {
namespace {

constexpr char kLogPath[] = "/var/log/orvald.log";

Asked askWritable(const char* path) {
  if (::access(path, W_OK) == 0) return {.outcome = Outcome::answered};
  return {.outcome = Outcome::failed, .reason = std::strerror(errno), .code = errno};
}

/// The lines below the title of the daemon's section; its one line for none is no problem.
std::vector<std::string> problemsIn(const std::string& section) {
  std::istringstream lines(section);
  std::vector<std::string> problems;
  for (std::string line; std::getline(lines, line);) {
    const bool title = line.starts_with("  ") && !line.starts_with("    ");
    const std::string_view text = tolk::trim(line);
    if (!title && !text.empty() && text != "No problem is known.") problems.emplace_back(text);
  }
  return problems;
}

void askDaemon(Agent& agent, Platform& platform) {
  agent.asked = ask([&agent] {
    tolk::LocalRpcSession session;
    agent.version = session.getVersion();
    agent.controller = session.getCurrentDC();
    agent.problems = problemsIn(session.getSystemInfo(tolk::daemon_module::kHealth));
  });
  platform.asked = ask([&platform] {
    tolk::LocalRpcSession session;
    session.authenticateProcess();
    platform.state = session.getORBInfo(platform.url);
  });
}

}  // namespace

void askAgent(const Question& /*question*/, const Facts& /*local*/, const Publish& publish) {
  Agent agent;
  Platform platform;
  const auto tell = [&](Facts& facts) {
    facts.agent = agent;
    facts.platform = platform;
  };
  agent.ownVersion = ORVALD_RELEASE;
  agent.installed = ::access(tolk::kStateDirectory, F_OK) == 0;
  publish(tell);
  if (!agent.installed) return;
  agent.stateWritable = askWritable(tolk::kStateDirectory);
  agent.logWritable = askWritable(kLogPath);
  agent.seconds = ask([&agent] {
                    const AgentState state = agentState();
                    agent.status = static_cast<int>(state);
                    agent.state = agentStateName(state);
                  }).seconds;
  publish(tell);
  constexpr std::int64_t kNobodyThere[] = {static_cast<int>(AgentState::starting),
                                           static_cast<int>(AgentState::down),
                                           static_cast<int>(AgentState::lockUnexaminable)};
  for (const std::int64_t status : kNobodyThere) {
    if (agent.status == status) return;
  }
  askDaemon(agent, platform);
  publish(tell);
}

}  // namespace joinscope::facts
