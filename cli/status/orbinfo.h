// --orbinfo: the cloud platform that this host uses, and the web proxy on the way there.
#pragma once

namespace joinscope {

struct TaskContext;

/// Asks the agent daemon, or while that is down the agent's own settings. Returns one of
/// exit_status::kOrb..., kNotRoot or kNotJoined.
int orbinfo(TaskContext& context);

}  // namespace joinscope
