// One request and its answer on an SMB 2 connection.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tolk/base/handle.h"
#include "tolk/net/event_loop.h"

namespace tolk {

/// A connected, non-blocking socket and the state of the conversation on it.
struct SmbStream {
  UniqueFd socket{};
  std::string received{};         ///< what has come beyond the last answer
  std::uint64_t nextMessage = 0;  ///< number of the next request
  std::uint64_t credits = 1;      ///< requests that the server takes (MS-SMB2 3.2.4.1.2)
};

/// Sends `request` (without frame, numbered stream.nextMessage) and waits for its answer. Interim
/// answers (STATUS_PENDING) and the server's own notices are passed over. Fails with
/// TimeoutException, IOException (errno; ECONNRESET when the server hangs up), or BadDataException
/// when what comes is not SMB 2 or over 128 KiB, and at once when the server has granted no further
/// request. The stream must outlive the wait.
Pending<std::string> startSmbExchange(EventLoop& loop, SmbStream& stream,
                                      const std::string& request, std::chrono::milliseconds limit);

}  // namespace tolk
