// Answers that another thread has ready, on their way to the poll loop.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "tolk/base/handle.h"

namespace velkd {

/// Names one connection; never used twice in the life of the daemon.
using ConnectionId = std::uint64_t;

/// The answer to one call on a connection, counted from 1; an empty text means that the caller
/// wants none.
struct Letter {
  ConnectionId connection = 0;
  std::uint64_t call = 0;
  std::string text;
};

/// May be used from several threads.
class Mailbox {
 public:
  /// Throws IOException when the kernel has no descriptor left.
  Mailbox();

  /// Leaves an answer and wakes whoever polls fd().
  void post(Letter letter);
  /// All that has been left, in order.
  [[nodiscard]] std::vector<Letter> takeAll();
  /// Readable while something is waiting.
  [[nodiscard]] int fd() const noexcept { return event_.get(); }

 private:
  tolk::UniqueFd event_;
  std::mutex mutex_;
  std::vector<Letter> letters_;
};

}  // namespace velkd
