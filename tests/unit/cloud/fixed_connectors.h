// Connectors for tests of what uses them.
#pragma once

#include <string>
#include <utility>

#include "cloud/http/connector_access.h"

namespace tolk::test {

/// Connectors that know one platform and one web server for the site check.
class FixedConnectors : public ConnectorAccess {
 public:
  FixedConnectors(std::string url, std::string site)
      : platform(std::move(url)), site_(std::move(site)) {
    install(this);
  }
  ~FixedConnectors() override { install(nullptr); }
  std::string getCloudConnector() override { return connector; }
  void connectorFailed(const std::string& address) override {
    if (address == connector && ++failures == kMost) connector.clear();
  }
  std::string platformUrl() override { return platform; }
  IwaAddress getIwaUrl() override { return {.url = site_, .principal = "HTTP/x@X.TEST"}; }
  std::string GetSPNFromIwaURL(const std::string& /*url*/) override { return {}; }

  std::string platform;
  std::string connector;
  int failures = 0;

 private:
  static constexpr int kMost = 9;
  std::string site_;
};

}  // namespace tolk::test
