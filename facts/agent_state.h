// Whether the agent daemon runs and whether this host's computer object is still usable.
#pragma once

#include <cstdint>
#include <string>

namespace tolk {
class JoinSettings;
}

namespace joinscope {

/// The numbers are exit statuses of --mode.
enum class AgentState : int {
  connected = 0,       ///< the daemon answered and the computer object is usable
  disconnected = 1,    ///< the daemon broke off after the session was open
  starting = 2,        ///< the daemon cannot be reached; another process holds its lock file
  down = 3,            ///< the daemon cannot be reached and nobody holds its lock file
  unavailable = 4,     ///< any other failure
  objectDeleted = 5,   ///< the computer object was not found through the daemon
  objectDisabled = 6,  ///< the computer object is disabled (userAccountControl 0x2, MS-ADTS 2.2.16)
  lockUnexaminable = 7,  ///< the daemon cannot be reached and its lock file cannot be examined
};

/// Asks the daemon for this host's computer object. Waits at most the limit velkd.rpc.timeout for
/// each of the calls and never for the lock. Throws nothing, prints nothing;
/// why the answer is not "connected" is a trouble (tolk/base/troubles.h).
AgentState agentState() noexcept;

/// The same with other join settings and a daemon at other places.
AgentState agentStateAt(const tolk::JoinSettings& settings, const char* rpcDirectory,
                        const char* lockPath) noexcept;

/// What the daemon says about those of its modules whose bits (tolk::daemon_module) are set in
/// `mask`. Throws an exception of the tolk family when it does not answer.
std::string readSystemInfo(std::uint32_t mask);

/// The word that reports show; "<unavailable>" for a value that is none of the above.
std::string agentStateName(AgentState state);

}  // namespace joinscope
