// The daemon's cloud connectors.
#include "velkd/connector_service.h"

#include <memory>
#include <utility>

#include "cloud/connectors/cloud_connectors_refresh.h"
#include "cloud/connectors/cloudconnectorlocator.h"
#include "cloud/http/cloud_conn_pool.h"
#include "tolk/base/run_queue.h"
#include "velkd/machine_agent.h"

namespace velkd {
namespace {

using tolk::CloudConnectorLocator;

void enqueue(std::shared_ptr<tolk::QueueAble> item) {
  constexpr const char* kQueueName = "connectors";
  (void)tolk::RunQueue::getRunQueue(kQueueName, true, 1)->queue(std::move(item));
}

void enqueueRefresh() {
  enqueue(std::make_shared<tolk::CloudConnectorsRefresh>(CloudConnectorLocator::getInstance()));
}

}  // namespace

ConnectorService::ConnectorService(const StatusBoard& board) : board_(board) {
  CloudConnectorLocator::m_adagent = std::make_shared<MachineAgent>(board);
  enqueueRefresh();
}

void ConnectorService::reload() {
  enqueueRefresh();
}

void ConnectorService::connected() {
  std::string domain = board_.get().domain;
  CloudConnectorLocator& locator = CloudConnectorLocator::getInstance();
  const std::lock_guard lock(mutex_);
  const bool moved = !domain_.empty() && domain_ != domain;
  domain_ = std::move(domain);
  if (moved) {
    enqueueRefresh();
  } else {
    // Behind a search that is under way, and may succeed.
    enqueue(std::make_shared<tolk::CloudConnectorsSiteCheck>(locator));
  }
}

void ConnectorService::refreshWhenExhausted() {
  constexpr std::chrono::minutes kBetween(1);
  const bool searchesNoMore = CloudConnectorLocator::refreshIntervalSeconds() == 0;
  if (searchesNoMore || !CloudConnectorLocator::getInstance().isExhausted()) return;
  const auto now = std::chrono::steady_clock::now();
  const std::lock_guard lock(mutex_);
  if (now < nextRefresh_) return;
  nextRefresh_ = now + kBetween;
  enqueueRefresh();
}

std::string cloudText(bool privileged) {
  if (CloudConnectorLocator::m_adagent == nullptr) return {};
  return (privileged ? tolk::CloudConnPool::getInstance().dump() : std::string()) +
         CloudConnectorLocator::getInstance().dump();
}

}  // namespace velkd
