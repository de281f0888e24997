// The agent library's name for a plain mutual exclusion lock.
#pragma once

#include <mutex>

namespace tolk {

using Lock = std::mutex;

}  // namespace tolk
