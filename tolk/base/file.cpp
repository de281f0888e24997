// Bounded reading of small regular files.
#include "tolk/base/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"

namespace tolk {
namespace {

[[noreturn]] void fail(const std::string& path, int error) {
  throw IOException("Cannot read " + path + ": " + std::generic_category().message(error), error);
}

// Size to reserve; throws for anything but a regular file.
std::size_t regularFileSize(const std::string& path, int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0) fail(path, errno);
  if (S_ISDIR(status.st_mode)) fail(path, EISDIR);
  if (!S_ISREG(status.st_mode)) fail(path, EINVAL);
  return static_cast<std::size_t>(status.st_size);
}

}  // namespace

std::string readRegularFile(const std::string& path, std::size_t limitBytes) {
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!fd) fail(path, errno);
  const std::size_t expected = regularFileSize(path, fd.get());
  if (expected > limitBytes) fail(path, EFBIG);

  // The size is a hint only: files under /proc say 0, and a file may grow while it is read.
  constexpr std::size_t kChunkBytes = 4096;
  std::string content;
  std::size_t used = 0;
  for (;;) {
    content.resize(std::min(std::max(expected, used + kChunkBytes), limitBytes) + 1);
    const ssize_t got = ::read(fd.get(), content.data() + used, content.size() - used);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) fail(path, errno);
    if (got == 0) break;
    used += static_cast<std::size_t>(got);
    if (used > limitBytes) fail(path, EFBIG);
  }
  content.resize(used);
  return content;
}

}  // namespace tolk
