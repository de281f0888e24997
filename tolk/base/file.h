// Bounded reading of small regular files.
#pragma once

#include <cstddef>
#include <string>

namespace tolk {

/// The whole content of the regular file at `path`. Opening never waits (a FIFO or a device is
/// refused, not read). Throws IOException whose code is errno: that of open(2) or read(2), EISDIR
/// for a directory, EINVAL for another kind of file, EFBIG for more than `limitBytes`.
std::string readRegularFile(const std::string& path, std::size_t limitBytes);

}  // namespace tolk
