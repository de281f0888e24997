// A memfd, named to readers by its descriptor below /proc/self/fd.
#include "tolk/krb5/memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "tolk/base/exceptions.h"

namespace tolk {

UniqueFd memoryFile(const std::string& text) {
  UniqueFd fd(::memfd_create("krb5.conf", MFD_CLOEXEC));
  if (!fd) throw IOException("Cannot make a file in memory", errno);
  const ssize_t written = ::write(fd.get(), text.data(), text.size());
  if (written != static_cast<ssize_t>(text.size()))
    throw IOException("Cannot write a file in memory", errno);
  return fd;
}

std::string memoryFilePath(const UniqueFd& file) {
  return "/proc/self/fd/" + std::to_string(file.get());
}

}  // namespace tolk
