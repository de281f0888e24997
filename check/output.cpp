// Whole texts to descriptors and files.
#include "check/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"

namespace joinscope::check {

int writeWhole(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

void writePrivateFile(const std::string& path, std::string_view text) {
  constexpr mode_t kOwnerOnly = 0600;
  const tolk::UniqueFd file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kOwnerOnly));
  const int failure = file ? writeWhole(file.get(), text) : errno;
  if (failure == 0) return;
  throw tolk::IOException("Cannot write " + path + ": " + std::generic_category().message(failure),
                          failure);
}

}  // namespace joinscope::check
