// Opened without following a link and judged by its descriptor, so that nobody can change it
// between the look and the use.
#include "tolk/base/private_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "tolk/base/handle.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/open_directory.h"

namespace tolk {
namespace {

constexpr mode_t kOwnerOnly = 0700;
constexpr mode_t kOthers = 077;

int fail(int error) noexcept {
  errno = error;
  return error;
}

}  // namespace

int makePrivateDirectory(const char* path) noexcept {
  if (::mkdir(path, kOwnerOnly) != 0 && errno != EEXIST) return fail(errno);
  const UniqueFd directory(::open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!directory) return fail(errno);
  struct stat status {};
  if (::fstat(directory.get(), &status) != 0) return fail(errno);
  if (status.st_uid != ::geteuid()) return fail(EPERM);
  // Ours but open to others, by an administrator's hand: what they put there has no power, for
  // files are made anew in it.
  if ((status.st_mode & kOthers) != 0 && ::fchmod(directory.get(), kOwnerOnly) != 0) {
    return fail(errno);
  }
  return 0;
}

int GetPellionTempDirForCurrentUser(char* buffer, std::size_t size) noexcept {
  const uid_t user = ::geteuid();
  const int length = user == 0 ? std::snprintf(buffer, size, "%s/tmp", kStateDirectory)
                               : std::snprintf(buffer, size, "/tmp/orvald-%u", user);
  if (length < 0 || static_cast<std::size_t>(length) >= size) return fail(ERANGE);
  // The agent's own directory is there unless nothing was ever joined.
  if (user == 0) {
    if (const int error = makeOpenDirectory(kStateDirectory); error != 0) return fail(error);
  }
  return makePrivateDirectory(buffer);
}

}  // namespace tolk
