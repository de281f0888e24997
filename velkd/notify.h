// Tells the service manager how the daemon is doing (sd_notify(3), the protocol alone).
#pragma once

#include <string_view>

namespace velkd {

/// Sends `state`, such as "READY=1", to the socket that NOTIFY_SOCKET names. Without a service
/// manager, or when it does not listen, nothing happens.
void notifyServiceManager(std::string_view state) noexcept;

}  // namespace velkd
