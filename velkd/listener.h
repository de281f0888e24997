// The daemon's socket.
#pragma once

#include <string>

#include "tolk/base/handle.h"

namespace velkd {

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
