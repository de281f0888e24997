#include "fake_network_state.h"

#include <boost/make_shared.hpp>

#include "tolk/base/exceptions.h"
#include "tolk/net/network_state.h"

namespace joinscope::test {

FakeDiscovery& discovery() {
  static FakeDiscovery instance;
  return instance;
}

}  // namespace joinscope::test

namespace tolk {

using joinscope::test::discovery;

std::string NetworkState::getDCForDomain(const std::string& domain, const ServiceType::Enum&, bool,
                                         const std::string&, bool) {
  discovery().asked.push_back("controller of " + domain);
  if (discovery().controller.empty()) throw TOLKException("no controller answers");
  return discovery().controller;
}

boost::shared_ptr<DCInfo> NetworkState::getDCInfo(const std::string& server, bool) {
  discovery().asked.push_back("site by " + server);
  const auto info = boost::make_shared<DCInfo>();
  info->found = true;
  info->clientSite = discovery().site;
  return info;
}

std::string NetworkState::getSubnetSite(const std::string& domain) {
  discovery().asked.push_back("site in " + domain);
  return discovery().site;
}

std::string NetworkState::getDCFromKset(const std::string&, const ServiceType::Enum&, bool, bool) {
  return {};
}

void NetworkState::passOver(const std::string&, ServiceType::Enum, const std::string&) {}

std::vector<sockaddr_in> NetworkState::getKdcs(const std::string&) {
  return {};
}

}  // namespace tolk
