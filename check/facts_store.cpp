// Facts files on the disk.
#include "check/facts_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "facts/facts_file.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/file.h"
#include "tolk/base/handle.h"

namespace joinscope::check {
namespace {

constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

[[noreturn]] void throwUnwritable(const std::string& path) {
  const int code = errno;
  throw tolk::IOException("Cannot write the facts file " + path + ": " + std::strerror(code), code);
}

void writeWhole(int descriptor, std::string_view text, const std::string& path) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0 && errno != EINTR) throwUnwritable(path);
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

facts::Facts loadFacts(const std::string& path) {
  const std::string text = tolk::readRegularFile(path, kMaxBytes);
  try {
    return facts::readFacts(text);
  } catch (const tolk::BadDataException& e) {
    throw tolk::BadDataException(path +
                                 " is no facts file that this joincheck can read: " + e.what());
  }
}

void saveFacts(const facts::Facts& facts, const std::string& path) {
  constexpr mode_t kOwnerOnly = 0600;
  const tolk::UniqueFd file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kOwnerOnly));
  if (file.get() < 0) throwUnwritable(path);
  writeWhole(file.get(), facts::writeFacts(facts), path);
}

}  // namespace joinscope::check
