// Which calls a daemon has left unanswered in this process. A daemon that is stopped, or hangs,
// costs one limit, not one for each call.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace tolk {

/// Keeps that the daemon at `socket` has not answered `method` within `limit`.
void noteUnanswered(const std::string& socket, std::string_view method,
                    std::chrono::milliseconds limit);

/// How long was waited in vain for the answer to `method`, or to Authenticate, which any daemon
/// that runs answers at once; zero when neither is known to stay away.
[[nodiscard]] std::chrono::milliseconds waitedInVain(const std::string& socket,
                                                     std::string_view method);

}  // namespace tolk
