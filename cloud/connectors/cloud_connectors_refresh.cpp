// The background task that keeps the cloud connectors up to date.
#include "cloud/connectors/cloud_connectors_refresh.h"

#include <algorithm>

#include "cloud/connectors/cloudconnectorlocator.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

constexpr const char* kThreadName = "connectors";

}  // namespace

CloudConnectorsRefresh::CloudConnectorsRefresh(CloudConnectorLocator& locator)
    : QueueAble("CloudConnectorsRefresh"), locator_(locator) {
  setLoggingThreadName(kThreadName);
}

void CloudConnectorsRefresh::run() {
  again_ = locator_.UpdateCloudConnectors();
}

void CloudConnectorsRefresh::updateTimeout() {
  // What the directory could not answer is not left for hours.
  constexpr long kRetrySeconds = 60;
  const long interval = CloudConnectorLocator::refreshIntervalSeconds();
  setTimeout(locator_.needsRefresh() ? std::min(interval, kRetrySeconds) : interval);
}

long CloudConnectorsRefresh::getRandomDelay() const {
  constexpr long kPartOfInterval = 10;
  constexpr long kMostSeconds = 600;
  return std::min(kMostSeconds, getTimeout() / kPartOfInterval);
}

CloudConnectorsSiteCheck::CloudConnectorsSiteCheck(CloudConnectorLocator& locator)
    : QueueAble("CloudConnectorsSiteCheck"), locator_(locator) {
  setLoggingThreadName(kThreadName);
}

void CloudConnectorsSiteCheck::run() {
  if (locator_.needsRefresh()) {
    (void)locator_.UpdateCloudConnectors();
  } else {
    locator_.checkSite();
  }
}

}  // namespace tolk
