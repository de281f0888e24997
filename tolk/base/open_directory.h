// A directory that everybody may look into.
#pragma once

namespace tolk {

/// Makes the directory at `path` when it is missing, with mode 0755 whatever the umask is. One that
/// is there stays as it is. 0 or an errno.
[[nodiscard]] int makeOpenDirectory(const char* path) noexcept;

}  // namespace tolk
