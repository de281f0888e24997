// Counts and faults by address; a change of resolv.conf forgets them all.
#include "tolk/net/name_servers.h"

#include <algorithm>

#include "tolk/base/logger.h"
#include "tolk/net/limits.h"

namespace tolk {
namespace {

void log(LogLevel level, const NameServer& server, const std::string& what) {
  Logger::GetThreadPrivateLogger("base.net.dns")
      .log(level, "DNS server " + server.address + ' ' + what);
}

}  // namespace

NameServers& NameServers::instance() {
  static NameServers all;
  return all;
}

NameServers::Choice NameServers::choose() {
  Choice choice{.settings = readResolverSettings(), .toAsk = {}, .passedOver = {}};
  const std::lock_guard lock(mutex_);
  if (choice.settings != settings_) {
    settings_ = choice.settings;
    servers_.clear();
    for (const std::string& address : settings_.servers) servers_.push_back({.address = address});
  }
  std::vector<NameServer> order = servers_;
  if (settings_.rotate && !order.empty()) {
    const auto first = static_cast<std::ptrdiff_t>(turn_++ % order.size());
    std::rotate(order.begin(), order.begin() + first, order.end());
  }
  std::stable_partition(order.begin(), order.end(),
                        [](const NameServer& server) { return !server.faulty(); });
  for (NameServer& server : order) {
    const bool passOver = server.silent && server.faulty();
    (passOver ? choice.passedOver : choice.toAsk).push_back(std::move(server));
  }
  return choice;
}

void NameServers::answered(const std::string& address) {
  const std::lock_guard lock(mutex_);
  NameServer* server = find(address);
  if (server == nullptr) return;
  ++server->answers;
  if (!server->fault.empty()) log(LogLevel::info, *server, "answers again");
  server->fault.clear();
  server->silent = false;
  server->until = {};
}

void NameServers::failed(const std::string& address, const std::string& fault, bool silent) {
  const std::lock_guard lock(mutex_);
  NameServer* server = find(address);
  if (server == nullptr) return;
  ++server->failures;
  if (server->fault.empty()) log(LogLevel::warning, *server, fault);
  server->fault = fault;
  server->silent = silent;
  server->until = NameServer::Clock::now() + configuredLimit(PN::NET_DNS_RETRY_DELAY);
}

void NameServers::leaveOutEdns(const std::string& address) {
  const std::lock_guard lock(mutex_);
  if (NameServer* server = find(address)) server->edns = false;
}

std::vector<NameServer> NameServers::known() {
  const std::lock_guard lock(mutex_);
  return servers_;
}

NameServer* NameServers::find(const std::string& address) {
  const auto found = std::ranges::find(servers_, address, &NameServer::address);
  return found == servers_.end() ? nullptr : &*found;
}

}  // namespace tolk
