// The daemon's socket.
#include "velkd/listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tolk/base/exceptions.h"
#include "tolk/base/open_directory.h"
#include "tolk/rpc/daemon_protocol.h"

namespace velkd {
namespace {

[[noreturn]] void fail(const std::string& what, int error) {
  throw tolk::IOException(what + ": " + std::generic_category().message(error), error);
}

void checkDirectory(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) fail("Cannot examine " + path, errno);
  const bool writableByOthers = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  if (!S_ISDIR(status.st_mode) || status.st_uid != ::geteuid() || writableByOthers) {
    throw tolk::IOException(path + " is no directory of this user's alone", EPERM);
  }
}

void makeDirectories(const std::filesystem::path& path) {
  if (path.has_parent_path() && !std::filesystem::exists(path.parent_path())) {
    makeDirectories(path.parent_path());
  }
  const int error = tolk::makeOpenDirectory(path.c_str());
  if (error != 0) fail("Cannot make " + path.string(), error);
}

void removeStaleSocket(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return;
    fail("Cannot examine " + path, errno);
  }
  if (!S_ISSOCK(status.st_mode)) throw tolk::IOException(path + " is in the way", EEXIST);
  if (::unlink(path.c_str()) != 0) fail("Cannot remove " + path, errno);
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) fail("Cannot listen on " + path, ENAMETOOLONG);
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

}  // namespace

Listener::Listener(const std::string& directory)
    : path_(directory + "/" + std::string(tolk::kDaemonSocketName)) {
  constexpr mode_t kEverybody = 0666;
  makeDirectories(directory);
  checkDirectory(directory);
  const sockaddr_un address = addressOf(path_);
  removeStaleSocket(path_);
  socket_.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const auto* const name = reinterpret_cast<const sockaddr*>(&address);
  // Nobody can connect before listen(2), so the mode is right from the first connection on.
  if (!socket_ || ::bind(socket_.get(), name, sizeof address) != 0 ||
      ::chmod(path_.c_str(), kEverybody) != 0 || ::listen(socket_.get(), SOMAXCONN) != 0) {
    fail("Cannot listen on " + path_, errno);
  }
}

Listener::~Listener() {
  (void)::unlink(path_.c_str());
}

}  // namespace velkd
