// Writes the persisted join settings.
#include "tolk/base/join_settings_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/open_directory.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = "kset.";
constexpr std::string_view kTemporaryPrefix = ".kset.";
constexpr mode_t kFileMode = 0644;

[[noreturn]] void fail(const std::string& what, const std::string& path, int error) {
  throw IOException("Cannot " + what + " " + path + ": " + std::generic_category().message(error),
                    error);
}

void makeDirectory(const std::string& path) {
  if (const int error = makeOpenDirectory(path.c_str()); error != 0) fail("make", path, error);
}

// So that the renames survive a crash of the machine.
void syncDirectory(const std::string& path) {
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd || ::fsync(fd.get()) != 0) fail("sync", path, errno);
}

/// Temporary files, removed at scope exit unless they were renamed.
class TemporaryFiles {
 public:
  explicit TemporaryFiles(const std::string& directory) : directory_(directory) {}
  TemporaryFiles(const TemporaryFiles&) = delete;
  TemporaryFiles& operator=(const TemporaryFiles&) = delete;
  ~TemporaryFiles() {
    for (const std::string& name : names_) (void)::unlink(temporary(name).c_str());
  }

  void write(const std::string& name, const std::string& value) {
    const std::string path = temporary(name);
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) fail("replace", path, errno);
    const UniqueFd fd(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kFileMode));
    if (!fd) fail("write", path, errno);
    names_.push_back(name);
    const std::string text = value + "\n";
    const ssize_t count = ::write(fd.get(), text.data(), text.size());
    if (count != static_cast<ssize_t>(text.size())) fail("write", path, count < 0 ? errno : ENOSPC);
    // Whatever the umask is: everybody may read where this host is joined.
    if (::fchmod(fd.get(), kFileMode) != 0 || ::fsync(fd.get()) != 0) fail("write", path, errno);
  }

  void putInPlace(const std::string& name) {
    const std::string path = directory_ + "/" + std::string(kPrefix) + name;
    if (::rename(temporary(name).c_str(), path.c_str()) != 0) fail("replace", path, errno);
    names_.erase(std::find(names_.begin(), names_.end(), name));
  }

 private:
  [[nodiscard]] std::string temporary(const std::string& name) const {
    return directory_ + "/" + std::string(kTemporaryPrefix) + name + ".new";
  }

  std::string directory_;
  std::vector<std::string> names_;
};

// Both together say "joined".
bool saysJoined(std::string_view name) {
  return name == SETTING_DOMAIN_NAME || name == SETTING_HOST_NAME;
}

std::vector<std::string> settingsIn(const std::string& directory) {
  std::error_code error;
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory, error)) {
    const std::string file = entry.path().filename().string();
    if (file.starts_with(kPrefix)) names.push_back(file.substr(kPrefix.size()));
  }
  if (error && error.value() != ENOENT) fail("read", directory, error.value());
  std::stable_partition(names.begin(), names.end(), saysJoined);
  return names;
}

void removeSetting(const std::string& directory, const std::string& name) {
  const std::string path = directory + "/" + std::string(kPrefix) + name;
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) fail("remove", path, errno);
}

}  // namespace

void writeJoinSettings(const std::string& directory, const JoinSettingValues& values) {
  for (const auto& [name, value] : values) {
    if (printable(value) == value) continue;
    throw BadDataException("\"" + printable(value) + "\" cannot be kset." + name +
                           ": it has control characters, or is no UTF-8");
  }
  makeDirectory(directory);
  TemporaryFiles files(directory);
  std::vector<std::string> names;
  for (const auto& [name, value] : values) {
    if (value.empty()) continue;
    files.write(name, value);
    names.push_back(name);
  }
  std::stable_partition(names.begin(), names.end(),
                        [](const std::string& name) { return !saysJoined(name); });
  for (const std::string& old : settingsIn(directory)) {
    if (std::find(names.begin(), names.end(), old) == names.end()) removeSetting(directory, old);
  }
  for (const std::string& name : names) files.putInPlace(name);
  syncDirectory(directory);
}

void writeJoinSetting(const std::string& directory, std::string_view name,
                      const std::string& value) {
  makeDirectory(directory);
  if (value.empty()) {
    removeSetting(directory, std::string(name));
  } else {
    TemporaryFiles files(directory);
    files.write(std::string(name), value);
    files.putInPlace(std::string(name));
  }
  syncDirectory(directory);
}

void retireJoinSettings(const std::string& directory) {
  const std::string previous = directory + "/previous";
  const std::vector<std::string> names = settingsIn(directory);
  if (names.empty()) throw NotFoundException("There are no join settings in " + directory);
  makeDirectory(previous);
  for (const std::string& old : settingsIn(previous)) removeSetting(previous, old);
  for (const std::string& name : names) {
    const std::string file = "/" + std::string(kPrefix) + name;
    if (::rename((directory + file).c_str(), (previous + file).c_str()) != 0) {
      fail("move", directory + file, errno);
    }
  }
  syncDirectory(previous);
  syncDirectory(directory);
}

}  // namespace tolk
