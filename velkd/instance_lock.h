// The lock file of the one running instance.
#pragma once

#include <string>

#include "tolk/base/handle.h"

namespace velkd {

/// Held for the life of this object; then the file goes. It is readable by its owner alone, so that
/// nobody else can lock it.
class InstanceLock {
 public:
  /// Makes the file at `path` (mode 0600) when it is missing and takes a write lock on all of it
  /// (fcntl(2)). A lock for reading stops nobody: it can only be another user's, on a file that was
  /// open to all once, and the file is made anew. Waits at most half a second. Throws
  /// tolk::IOException when that is not possible, naming the process that holds the lock.
  explicit InstanceLock(const std::string& path);
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;
  ~InstanceLock();

 private:
  [[nodiscard]] bool take();
  [[nodiscard]] bool isInPlace() const;

  std::string path_;  // without symbolic links, once the file is open
  tolk::UniqueFd fd_;
};

}  // namespace velkd
