// The daemon's place on this host: its lock file and its socket.
#pragma once

#include <sys/types.h>

#include <string>

#include "tolk/base/handle.h"

namespace velkd {

/// The lock of the one running instance, held for the life of this object. The file stays.
class InstanceLock {
 public:
  /// Makes the file at `path` (mode 0644) when it is missing and takes its lock without waiting.
  /// Throws tolk::IOException when that is not possible, naming the process that holds it.
  explicit InstanceLock(const std::string& path);
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;
  ~InstanceLock();

 private:
  int fd_ = -1;
};

/// A listening Unix stream socket that everybody may connect to.
class Listener {
 public:
  /// Listens on `directory`/velkd.sock (mode 0666). The directory is made when it is missing (0755,
  /// with those above it) and must belong to this process's user, with nobody else allowed to write
  /// to it. A socket of an instance that is gone is replaced; anything else of that name is left
  /// alone. Hold the InstanceLock. Throws tolk::IOException.
  explicit Listener(const std::string& directory);
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  /// Removes the socket's name.
  ~Listener();

  /// The socket, non-blocking; handed over once.
  [[nodiscard]] tolk::UniqueFd takeSocket() noexcept { return std::move(socket_); }

 private:
  std::string path_;
  tolk::UniqueFd socket_;
};

}  // namespace velkd
