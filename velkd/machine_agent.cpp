// The directory agent of the cloud client.
#include "velkd/machine_agent.h"

#include <netinet/in.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/ldap/pipelined_reads.h"
#include "tolk/ldap/site_links.h"
#include "tolk/net/dns.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/host_query.h"
#include "tolk/net/network_state.h"
#include "velkd/machine_binding.h"

namespace velkd {
namespace {

const tolk::Logger& logger() {
  return tolk::Logger::GetThreadPrivateLogger("velkd.agent");
}

// A null-terminated view of names, as the bindings take them.
class NameList {
 public:
  explicit NameList(const std::vector<std::string>& names) {
    for (const std::string& name : names) pointers_.push_back(name.c_str());
    pointers_.push_back(nullptr);
  }
  [[nodiscard]] const char* const* get() const noexcept { return pointers_.data(); }

 private:
  std::vector<const char*> pointers_;
};

// "" when there is no object: joined without a zone, or to the automatic one.
std::string zoneName() {
  const std::string schema = tolk::loadSetting(tolk::SETTING_SCHEMA);
  for (const std::string_view none : {tolk::SCHEMA_AUTO, tolk::SCHEMA_NULL}) {
    if (tolk::equalsIgnoringCase(schema, none)) return {};
  }
  return tolk::loadSetting(tolk::SETTING_ZONE_REALNAME);
}

std::optional<tolk::InterfaceDescription> addressTowardsHost(const std::string& host) {
  tolk::EventLoop loop;
  const std::vector<in_addr> addresses = tolk::startHostLookup(loop, host).wait();
  if (addresses.empty()) return std::nullopt;
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_addr = addresses.front();
  return tolk::addressTowards(peer);
}

class MachineSession final : public tolk::ADSession {
 public:
  explicit MachineSession(const std::string& domain) : machine_({.domain = domain}) {}

  bool isHealthy() override;
  tolk::ADObjectList search(Server server, const std::string& filter,
                            const std::vector<std::string>& attributes) override;
  std::vector<tolk::ADObject> fetch(Server server, const std::vector<std::string>& names,
                                    const std::vector<std::string>& attributes) override;
  tolk::AgentPlace place() override;
  tolk::ADObject zone() override;

 private:
  tolk::ADBinding& binding(Server server);

  MachineBinding machine_;
  std::unique_ptr<tolk::ADBinding> catalog_;  // opened when it is asked for
};

bool MachineSession::isHealthy() {
  return machine_.read("", {tolk::AD_DEFAULT_NAMING_CTX}).found;
}

tolk::ADBinding& MachineSession::binding(Server server) {
  if (server == Server::controller) return machine_.directory();
  if (!catalog_) {
    auto catalog = std::make_unique<tolk::ADBinding>(machine_.directory(), true);
    catalog->connect();
    catalog_ = std::move(catalog);
  }
  return *catalog_;
}

tolk::ADObjectList MachineSession::search(Server server, const std::string& filter,
                                          const std::vector<std::string>& attributes) {
  tolk::ADBinding& asked = binding(server);
  const NameList names(attributes);
  tolk::PagedObjectList page =
      asked.searchPaged(tolk::configuredPageSize(), filter, asked.wholeTree(), names.get(),
                        tolk::SearchScope::subtree, 0, tolk::SearchFlags::none);
  page.keepAll();
  tolk::ADObjectList all = std::move(page.objects());
  while (!page.complete()) {
    page.nextPage();
    all.splice(all.end(), page.objects());
  }
  return all;
}

std::vector<tolk::ADObject> MachineSession::fetch(Server server,
                                                  const std::vector<std::string>& names,
                                                  const std::vector<std::string>& attributes) {
  tolk::PipelinedReads reads(binding(server));
  const NameList list(attributes);
  for (const std::string& name : names) {
    reads.add(tolk::AD_ALL_OBJECTS, name, list.get(), tolk::SearchScope::base);
  }
  std::vector<tolk::ADObject> objects;
  while (reads.pending() > 0) {
    objects.emplace_back();
    try {
      tolk::ADObjectList found = reads.next();
      if (!found.empty()) objects.back() = std::move(found.front());
    } catch (const tolk::LDAPException& e) {
      // Without a connection nothing is known of an object.
      if (e.code() < 0) throw;
      logger().log(tolk::LogLevel::debug, e.what());
    }
  }
  return objects;
}

tolk::AgentPlace MachineSession::place() {
  tolk::AgentPlace place;
  const auto recordFailure = [](const tolk::Base_Exception& e) {
    logger().log(tolk::LogLevel::warning, e.what());
  };
  try {
    const auto info = tolk::NetworkState::getDCInfo(machine_.host(), true);
    place.site = info->clientSite;
    place.nextClosestSite = info->nextClosestSite;
    place.address = tolk::addressTowards(info->address);
  } catch (const tolk::Base_Exception& e) {
    recordFailure(e);
    place.address = addressTowardsHost(machine_.host());
  }
  try {
    // A host outside of every subnet, or without an answer, is where it was joined to.
    if (place.site.empty()) {
      place.site = tolk::loadSetting(tolk::SETTING_MACHINE_SITE);
    }
    // Not every controller names the next closest site.
    if (place.nextClosestSite.empty()) {
      place.nextClosestSite =
          tolk::nextClosestSite(tolk::readSiteLinks(machine_.directory()), place.site);
    }
  } catch (const tolk::Base_Exception& e) {
    recordFailure(e);
  }
  return place;
}

tolk::ADObject MachineSession::zone() {
  const std::string name = zoneName();
  if (name.empty()) return {};
  // Another domain's zone is in the catalog only; it has both attributes.
  const bool own =
      tolk::equalsIgnoringCase(tolk::DN::domainFromDN(name), machine_.directory().domainName());
  const MachineBinding::Read read =
      MachineBinding::read(binding(own ? Server::controller : Server::globalCatalog), name,
                           {tolk::AD_DISPLAY_NAME, tolk::AD_DESCRIPTION});
  if (!read.found) throw tolk::NotFoundException("The zone " + name + " does not exist");
  return read.object;
}

}  // namespace

std::unique_ptr<tolk::ADSession> MachineAgent::open() {
  const std::string domain = tolk::loadSetting(tolk::SETTING_DOMAIN_NAME);
  if (domain.empty()) throw tolk::NotFoundException("This host is in no domain");
  return std::make_unique<MachineSession>(domain);
}

bool MachineAgent::inZone() const {
  return !zoneName().empty();
}

}  // namespace velkd
