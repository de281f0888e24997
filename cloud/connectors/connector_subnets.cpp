// Which connectors of this host's site are in its own subnet.
#include "cloud/connectors/connector_subnets.h"

#include <netdb.h>

#include <algorithm>
#include <span>
#include <utility>

#include "cloud/connectors/cloud_connector.h"
#include "cloud/connectors/connector_attributes.h"
#include "tolk/base/property_names.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/host_query.h"
#include "tolk/net/limits.h"

namespace tolk {
namespace {

constexpr std::size_t kBatch = 64;  // lookups on their way at one time

struct Lookup {
  std::string key;
  std::string host;
};

void logLookupFailure(const std::string& host) {
  logConnector(LogLevel::warning,
               "Error in resolving cloud connector hostname %s, will not save into subnet try list",
               {host});
}

std::vector<Lookup> lookupsFor(const std::vector<std::string>& keys,
                               const std::vector<CloudConnector>& connectors) {
  std::map<std::string_view, const CloudConnector*> byKey;
  for (const CloudConnector& connector : connectors) byKey.emplace(connector.key(), &connector);
  std::vector<Lookup> lookups;
  for (const std::string& key : keys) {
    const auto found = byKey.find(key);
    if (found == byKey.end()) {
      logConnector(LogLevel::warning,
                   "Can't fetch cloud connector object %s, will not save into subnet try list",
                   {key});
    } else if (found->second->fqdn.empty()) {
      logConnector(LogLevel::warning,
                   "Invalid cloud connector object %s, found no %s data, will not save into subnet "
                   "try list",
                   {key, TOLK_CLOUD_WEB_PROXY});
    } else {
      lookups.push_back({.key = key, .host = found->second->fqdn});
    }
  }
  return lookups;
}

// False when DNS was silent on every one of them.
bool resolveBatch(std::span<const Lookup> batch, ConnectorAddresses& addresses) {
  EventLoop loop;
  std::vector<Pending<HostAnswer>> answers;
  for (const Lookup& lookup : batch) {
    logConnector(LogLevel::debug, "Resolving cloud connector hostname %s", {lookup.host});
    answers.push_back(
        startHostQuery(loop, lookup.host, configuredLimit(PN::VELKD_DNS_RESPONSE_MAXTIME)));
  }
  bool heard = false;
  for (std::size_t i = 0; i < batch.size(); ++i) {
    HostAnswer answer = answers[i].wait();
    heard = heard || answer.error != TRY_AGAIN;
    if (answer.addresses.empty()) {
      logLookupFailure(batch[i].host);
    } else {
      addresses[batch[i].key] = std::move(answer.addresses);
    }
  }
  return heard;
}

// Addresses that no host can have: any, broadcast, multicast and reserved.
bool isHostAddress(in_addr address) {
  constexpr in_addr_t kFirstMulticast = 0xe0000000;
  const in_addr_t value = ntohl(address.s_addr);
  return value != INADDR_ANY && value < kFirstMulticast;
}

// The address that decides: one in the own subnet if there is one. Null when none is an address.
const in_addr* decidingAddress(const std::vector<in_addr>& addresses,
                               const InterfaceDescription& own, bool& same) {
  const in_addr* chosen = nullptr;
  same = false;
  for (const in_addr& address : addresses) {
    if (!isHostAddress(address)) {
      logConnector(LogLevel::warning,
                   "Bad connector IP address %s, will not save into subnet try list",
                   {InetNToA(address.s_addr)});
      continue;
    }
    const bool near = (address.s_addr & own.netmask) == (own.address & own.netmask);
    if (chosen == nullptr || (near && !same)) chosen = &address;
    same = same || near;
  }
  return chosen;
}

}  // namespace

ConnectorAddresses resolveConnectors(const std::vector<std::string>& keys,
                                     const std::vector<CloudConnector>& connectors) {
  const std::vector<Lookup> lookups = lookupsFor(keys, connectors);
  ConnectorAddresses addresses;
  std::span<const Lookup> rest(lookups);
  bool heard = true;
  while (!rest.empty() && heard) {
    const std::size_t count = std::min(kBatch, rest.size());
    heard = resolveBatch(rest.first(count), addresses);
    rest = rest.subspan(count);
  }
  for (const Lookup& lookup : rest) logLookupFailure(lookup.host);
  return addresses;
}

void insertIntoTryListBySubnets(ConnectorTryLists& lists, const ConnectorAddresses& addresses,
                                const InterfaceDescription& own) {
  const ConnectorTryLists::Keys all = lists.list(ConnectorList::site);
  const std::string mask = InetNToA(own.netmask);
  std::vector<std::pair<std::string, std::string>> left;
  for (const std::string& key : all) {
    const auto known = addresses.find(key);
    bool same = false;
    const in_addr* const address =
        known == addresses.end() ? nullptr : decidingAddress(known->second, own, same);
    if (address == nullptr) {
      left.emplace_back(
          key, known == addresses.end() ? std::string() : InetNToA(known->second.front().s_addr));
      continue;
    }
    lists.moveToSubnet(key, same);
    logConnector(LogLevel::debug,
                 same ? "Inserted cloud connector (IP:%s) into same subnet(mask:%s) list"
                      : "Inserted cloud connector (IP:%s) into different subnet(mask:%s) list",
                 {InetNToA(address->s_addr), mask});
  }
  logConnector(LogLevel::debug,
               "Number of all cloud connectors from site try list: %d, number of those were saved "
               "into subnet try list: %d",
               {std::to_string(all.size()), std::to_string(all.size() - left.size())});
  for (const auto& [key, address] : left) {
    logConnector(
        LogLevel::debug,
        "Cloud connector '%s' (IP:%s) from site try list is not saved into subnet try list",
        {key, address});
  }
}

}  // namespace tolk
