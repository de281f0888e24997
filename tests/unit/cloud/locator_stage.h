// A locator of cloud connectors over a directory in memory.
#pragma once

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cloud/connectors/cloudconnectorlocator.h"
#include "tests/unit/cloud/log_texts.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"
#include "tolk/ldap/ad_names.h"

namespace tolk::test {

/// What a directory holds, and how it fails.
struct Directory {
  bool healthy = true;
  bool connected = true;
  bool catalogDown = false;
  bool controllerDown = false;
  AgentPlace place{.site = "Here", .nextClosestSite = "Near", .address = {}};
  ADObject zone;
  std::vector<ADObject> connectors;
  std::vector<ADObject> computers;
  std::vector<std::string> filters;  // asked for
  std::function<void()> onOpen = [] {};

  void add(const std::string& host, const std::vector<std::string>& keywords) {
    const std::string computer = "CN=" + host + ",DC=lab,DC=test";
    connectors.emplace_back("CN=proxy," + computer);
    std::vector<std::string> values{"pellion.core.webproxyenabled:true"};
    for (const std::string& keyword : keywords) values.push_back("pellion." + keyword);
    connectors.back()[AD_KEYWORDS] = values;
    computers.emplace_back(computer);
    computers.back()[AD_DNS_HOST_NAME] = host;
  }
};

class Session final : public ADSession {
 public:
  explicit Session(Directory& directory) : directory_(directory) {}
  bool isHealthy() override { return directory_.healthy; }
  ADObjectList search(Server server, const std::string& filter,
                      const std::vector<std::string>& /*attributes*/) override {
    const bool catalog = server == Server::globalCatalog;
    directory_.filters.push_back((catalog ? "GC " : "DC ") + filter);
    if (catalog && directory_.catalogDown) throw LDAPException("catalog", -1);
    if (!catalog && directory_.controllerDown) throw LDAPException("controller", -1);
    const bool computers = filter.starts_with("(&(objectCategory");
    const auto& all = computers ? directory_.computers : directory_.connectors;
    return {all.begin(), all.end()};
  }
  std::vector<ADObject> fetch(Server /*server*/, const std::vector<std::string>& names,
                              const std::vector<std::string>& /*attributes*/) override {
    std::vector<ADObject> found;
    for (const std::string& name : names) {
      const auto& all = directory_.computers;
      const auto at = std::find_if(all.begin(), all.end(),
                                   [&name](const ADObject& item) { return item.dn() == name; });
      found.push_back(at == all.end() ? ADObject() : *at);
    }
    return found;
  }
  AgentPlace place() override { return directory_.place; }
  ADObject zone() override { return directory_.zone; }

 private:
  Directory& directory_;
};

class Agent final : public ADAgent {
 public:
  explicit Agent(Directory& directory) : directory_(directory) {}
  std::unique_ptr<ADSession> open() override {
    directory_.onOpen();
    return std::make_unique<Session>(directory_);
  }
  bool inZone() const override { return static_cast<bool>(directory_.zone); }
  bool isConnected() const override { return directory_.connected; }

 private:
  Directory& directory_;
};

/// Three connectors, two of them in this host's site.
class LocatorTest : public testing::Test {
 protected:
  LocatorTest() {
    CloudConnectorLocator::m_adagent = std::make_shared<Agent>(directory_);
    set(PN::VELKD_LEGACYZONE_MFA_ENABLED, "true");
    set(PN::VELKD_LEGACYZONE_MFA_CLOUDURL, "https://p.test");
    set(PN::CLOUD_REST_VERSION, "1.0");
    set(PN::CLOUD_CONNECTOR_TRUSTED, "DC=lab,DC=test");
    for (const char* host : {"10.1.1.1", "10.2.2.2"}) directory_.add(host, valid("Here"));
    directory_.add("far.test", valid("Far"));
    directory_.place.address = {.name = "eth0",
                                .address = ::inet_addr("10.2.2.9"),
                                .netmask = ::inet_addr("255.255.255.0")};
  }
  ~LocatorTest() override { CloudConnectorLocator::m_adagent.reset(); }
  static void set(const Property& property, const std::string& value) {
    Props().set(property.key, value);
  }
  static std::vector<std::string> valid(const std::string& site) {
    return {"core.cloudurl:https://p.test/", "mobile.proxySysId:T1", "mobile.proxySite:" + site};
  }
  /// What a search logs.
  static std::vector<std::string> update(CloudConnectorLocator& locator) {
    LogTexts log;
    locator.UpdateCloudConnectors();
    return log.take();
  }
  /// All connectors, from first to last.
  static std::vector<std::string> drain(CloudConnectorLocator& locator) {
    std::vector<std::string> all;
    for (std::string next; !(next = locator.getCloudConnector()).empty();) {
      all.push_back(next);
      locator.connectorFailed(next);
    }
    return all;
  }

  Directory directory_;
  ScratchDirectory kset_;
  CloudConnectorLocator locator_{kset_.path()};
};

}  // namespace tolk::test
