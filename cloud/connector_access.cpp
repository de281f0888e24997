#include "cloud/connector_access.h"

#include <atomic>

namespace tolk {
namespace {

std::atomic<ConnectorAccess*> gInstalled{nullptr};

}  // namespace

ConnectorAccess* ConnectorAccess::current() noexcept {
  return gInstalled.load();
}

void ConnectorAccess::install(ConnectorAccess* access) noexcept {
  gInstalled.store(access);
}

}  // namespace tolk
