// A user name with its secret.
#include "tolk/base/protected_credential.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/json.h"
#include "tolk/base/locked_memory.h"
#include "tolk/base/stack_scrub.h"

namespace tolk {
namespace {

constexpr std::size_t kMaxFileBytes = 16384;

[[noreturn]] void throwUnusable(const std::string& path, const std::string& reason, int code) {
  throw IOException("The credential file " + path + " " + reason + ". ", code);
}

/// Refuses a file that others could have written or can read.
void checkOwner(int fd, const std::string& path) {
  struct stat status {};
  if (::fstat(fd, &status) != 0) throwUnusable(path, std::strerror(errno), errno);
  if (!S_ISREG(status.st_mode)) throwUnusable(path, "is no regular file", EINVAL);
  if (status.st_uid != 0 || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    throwUnusable(path, "must belong to root and be closed to all others (chmod 600)", EPERM);
  }
}

/// The content with a NUL behind it.
LockedMemory readLocked(int fd, const std::string& path) {
  LockedMemory memory(kMaxFileBytes + 1);
  std::size_t length = 0;
  while (length <= kMaxFileBytes) {
    const ssize_t got = ::read(fd, memory.data() + length, kMaxFileBytes + 1 - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throwUnusable(path, std::strerror(errno), errno);
    if (got == 0) return memory;
    length += static_cast<std::size_t>(got);
  }
  throwUnusable(path, "is too large", EFBIG);
}

/// Takes what the JSON writer puts out, into locked memory.
class LockedStream {
 public:
  using Ch = char;
  explicit LockedStream(std::size_t bytes) : memory_(bytes), limit_(bytes) {}
  void Put(char c) {
    if (length_ == limit_) throw IOException("The credential is too long", EFBIG);
    memory_.data()[length_++] = c;
  }
  void Flush() noexcept {}
  [[nodiscard]] const char* data() const noexcept { return memory_.data(); }
  [[nodiscard]] std::size_t size() const noexcept { return length_; }

 private:
  LockedMemory memory_;
  std::size_t limit_;
  std::size_t length_ = 0;
};

bool writeWhole(int fd, const LockedStream& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t written = ::write(fd, text.data() + done, text.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    done += static_cast<std::size_t>(written);
  }
  return ::fsync(fd) == 0;
}

// Puts the text in the place of `path`; what has not become the whole of it is removed.
void replaceFile(const std::string& path, const LockedStream& text) {
  const std::string fresh = path + ".new";
  (void)::unlink(fresh.c_str());
  const UniqueFd fd(
      ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!fd) throw IOException("Cannot make " + fresh + ": " + std::strerror(errno), errno);
  if (writeWhole(fd.get(), text) && std::rename(fresh.c_str(), path.c_str()) == 0) return;
  const int error = errno;
  (void)::unlink(fresh.c_str());
  throw IOException("Cannot write " + path + ": " + std::strerror(error), error);
}

}  // namespace

ProtectedCredential::ProtectedCredential(const std::string& name)
    : path_(std::string(kStateDirectory) + "/" + name + ".cred") {}

ProtectedCredential ProtectedCredential::at(std::string path) {
  ProtectedCredential credential;
  credential.path_ = std::move(path);
  return credential;
}

bool ProtectedCredential::loadFromFile(bool mustExist) {
  const UniqueFd fd(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!fd && errno == ENOENT && !mustExist) return false;
  if (!fd && errno == ENOENT) {
    throwUnusable(path_, "does not exist (velkd proxy-credential set makes it)", ENOENT);
  }
  if (!fd) throwUnusable(path_, std::string("cannot be read: ") + std::strerror(errno), errno);
  checkOwner(fd.get(), path_);
  const LockedMemory text = readLocked(fd.get(), path_);
  try {
    const json::Document document = json::parseInPlace(text.data());
    std::string user = json::stringMember(document, "user");
    secret_ = Shredder(json::stringView(document, "secret"));
    user_ = std::move(user);
  } catch (const BadDataException& e) {
    throw BadDataException("The credential file " + path_ + " is malformed: " + e.what() + ". ");
  }
  scrubStack();
  return true;
}

void ProtectedCredential::saveToFile(const std::string& user, std::string_view secret) {
  LockedStream text(kMaxFileBytes);
  json::writePairs(text, {{"user", user}, {"secret", secret}});
  replaceFile(path_, text);
  user_ = user;
  secret_ = Shredder(secret);
  scrubStack();
}

bool ProtectedCredential::removeFile() {
  if (::unlink(path_.c_str()) == 0) return true;
  if (errno == ENOENT) return false;
  throw IOException("Cannot remove " + path_ + ": " + std::strerror(errno), errno);
}

}  // namespace tolk
