// The background task that keeps the cloud connectors up to date.
#pragma once

#include "tolk/base/run_queue.h"

namespace tolk {

class CloudConnectorLocator;

/// Refreshes now and then every PN::CLOUD_CONNECTOR_REFRESH_INTERVAL seconds, until that is 0;
/// after a failure sooner. Takes the place of one that waits.
class CloudConnectorsRefresh final : public QueueAble {
 public:
  /// `locator` must outlive the queue.
  explicit CloudConnectorsRefresh(CloudConnectorLocator& locator);

  void run() override;
  [[nodiscard]] bool dedupMe() const override { return true; }
  [[nodiscard]] bool keepQueuedItem() const override { return false; }
  [[nodiscard]] bool periodic() const override { return again_; }
  void updateTimeout() override;
  [[nodiscard]] long getRandomDelay() const override;

 private:
  CloudConnectorLocator& locator_;
  bool again_ = true;
};

/// Once, for an agent that is connected again: makes up for a search that has not succeeded, else
/// sorts the connectors anew if this host has changed its site.
class CloudConnectorsSiteCheck final : public QueueAble {
 public:
  /// `locator` must outlive the queue.
  explicit CloudConnectorsSiteCheck(CloudConnectorLocator& locator);

  void run() override;
  [[nodiscard]] bool dedupMe() const override { return true; }

 private:
  CloudConnectorLocator& locator_;
};

}  // namespace tolk
