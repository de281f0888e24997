// How many files and sockets this process may hold open at once.
#pragma once

#include <cstddef>

namespace tolk {

/// The descriptors that one piece of work may use beside what is open anyway; at least 16. Raises
/// the soft limit (RLIMIT_NOFILE) to the hard one where `wanted` is more than that leaves.
std::size_t usableDescriptors(std::size_t wanted);

}  // namespace tolk
