// The daemon's cloud connectors: the locator with the daemon's directory agent, and its background
// task.
#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "velkd/status.h"

namespace velkd {

/// For use by several threads. The queue's threads use the board until tolk::RunQueue::shutdown().
class ConnectorService {
 public:
  /// Makes the locator, with the connectors that the join settings keep, and starts the background
  /// task. `board` must outlive the queue's threads.
  explicit ConnectorService(const StatusBoard& board);
  ConnectorService(const ConnectorService&) = delete;
  ConnectorService& operator=(const ConnectorService&) = delete;

  /// The configuration may have changed: searches anew.
  void reload();
  /// The daemon has its connection to the domain again: searches where that has not succeeded yet
  /// or the domain is another, else looks whether this host has changed its site.
  void connected();
  /// Searches anew when every connector has failed since the last search; at most once a minute.
  void refreshWhenExhausted();

 private:
  const StatusBoard& board_;
  std::mutex mutex_;
  std::string domain_;                                 // guarded by mutex_
  std::chrono::steady_clock::time_point nextRefresh_;  // guarded by mutex_
};

/// What the daemon knows of the cloud, as text; "" before there is anything. Who is being
/// authenticated is for `privileged` callers.
[[nodiscard]] std::string cloudText(bool privileged);

}  // namespace velkd
