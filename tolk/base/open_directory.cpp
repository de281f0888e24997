// Made with the mode it is to have, whatever the umask.
#include "tolk/base/open_directory.h"

#include <sys/stat.h>

#include <cerrno>

namespace tolk {

int makeOpenDirectory(const char* path) noexcept {
  constexpr mode_t kEverybodyMayEnter = 0755;
  if (::mkdir(path, kEverybodyMayEnter) != 0) return errno == EEXIST ? 0 : errno;
  return ::chmod(path, kEverybodyMayEnter) == 0 ? 0 : errno;
}

}  // namespace tolk
