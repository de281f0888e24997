// The daemon's work with the directory.
#include "velkd/directory.h"

#include <algorithm>

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/logger.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/sid.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/wire_object.h"
#include "velkd/rpc_error.h"

namespace velkd {
namespace {

constexpr std::uint32_t kAccountDisabled = 0x2;  // userAccountControl (MS-ADTS 2.2.16)

const tolk::Logger& logger() {
  return tolk::Logger::GetThreadPrivateLogger("velkd.directory");
}

std::chrono::milliseconds limitOf(const tolk::Property& property) {
  return std::chrono::milliseconds(tolk::Props().getLimitMs(property));
}

std::string answerOf(const MachineBinding::Read& read) {
  tolk::json::Document parameters(rapidjson::kObjectType);
  tolk::json::Allocator& memory = parameters.GetAllocator();
  tolk::json::Value object;
  if (read.found) object = tolk::objectToJson(read.object, memory);
  parameters.AddMember("object", object, memory);
  return tolk::encodeReply(parameters);
}

// The connection is of no more use: the client library failed, or the server is going away.
bool meansLost(const tolk::LDAPException& e) {
  constexpr int kBusy = 51;
  constexpr int kUnavailable = 52;
  return e.code() < 0 || e.code() == kBusy || e.code() == kUnavailable;
}

bool meansSilent(const tolk::LDAPException& e) {
  constexpr int kTimeout = -5;
  return e.code() == kTimeout;
}

std::string keyOf(const FetchCall& call) {
  std::string key = tolk::toLower(call.server) + '\n' + tolk::toLower(call.dn);
  for (const std::string& name : call.attributes) key += '\n' + tolk::toLower(name);
  return key;
}

ObjectState stateOf(const MachineBinding::Read& read) {
  if (!read.found) return ObjectState::missing;
  if (!read.object.attributeExists(tolk::AD_USER_ACCNT_CONTROL, true)) return ObjectState::usable;
  const std::uint32_t flags = read.object[tolk::AD_USER_ACCNT_CONTROL].toUInt();
  return (flags & kAccountDisabled) != 0 ? ObjectState::disabled : ObjectState::usable;
}

[[noreturn]] void deny() {
  throw RpcError(tolk::daemon_error::kPermissionDenied,
                 "Only root may read another object than this host's own.");
}

}  // namespace

Directory::Identity Directory::readIdentity() {
  Identity identity{.domain = tolk::loadSetting(tolk::SETTING_DOMAIN_NAME, false, false),
                    .host = tolk::loadSetting(tolk::SETTING_HOST_NAME, false, false),
                    .objectName = {}};
  if (identity.domain.empty() || identity.host.empty()) return {};
  identity.host += '\n' + tolk::PreW2KHostName();
  const std::string sid = tolk::loadSetting(tolk::SETTING_HOSTSID, false, false);
  if (!sid.empty()) identity.objectName = tolk::SID(sid).toDN();
  return identity;
}

// The join settings may change while the daemon runs: adopt and unadopt need no restart.
void Directory::refreshIdentity() {
  Identity now = readIdentity();
  if (now == identity_) return;
  disconnect();
  cache_.clear();
  ranges_.restart();
  pause_.succeeded();
  lastFailure_.clear();
  objectDn_.clear();
  nextGathering_ = {};
  identity_ = std::move(now);
  board_.update([this](DirectoryStatus& status) {
    status = DirectoryStatus{};
    status.joined = !identity_.domain.empty();
    status.domain = identity_.domain;
  });
}

void Directory::disconnect() {
  machine_.reset();
  board_.update([](DirectoryStatus& status) {
    status.connected = false;
    status.controller.clear();
  });
}

void Directory::noteFailure(const std::string& reason) {
  if (reason != lastFailure_) logger().log(tolk::LogLevel::warning, reason);
  lastFailure_ = reason;
  pause_.failed(Clock::now(), limitOf(tolk::PN::VELKD_RECONNECT_MAXTIME));
  board_.update([&reason](DirectoryStatus& status) {
    ++status.failures;
    status.lastFailure = reason;
  });
}

void Directory::connect() {
  constexpr int kPartOfLifetime = 4;
  auto fresh = std::make_unique<MachineBinding>(MachineIdentity{.domain = identity_.domain});
  const std::string forest = fresh->directory().forestName();
  const std::time_t now = std::time(nullptr);
  const std::time_t end = fresh->ticket().endTime();
  renewAt_ = end - (end - now) / kPartOfLifetime;
  machine_ = std::move(fresh);
  pause_.succeeded();
  lastFailure_.clear();
  logger().log(tolk::LogLevel::info,
               "Connected to " + machine_->host() + " as " + machine_->ticket().principal());
  board_.update([&](DirectoryStatus& status) {
    status.connected = true;
    status.controller = machine_->host();
    status.forest = forest;
    status.principal = machine_->ticket().principal();
    status.connectedSince = now;
    status.ticketEnd = end;
    ++status.connects;
    status.failures = 0;
    status.lastFailure.clear();
  });
  nextCheck_ = {};
  if (onConnect_) onConnect_();
}

MachineBinding& Directory::machine() {
  if (machine_) return *machine_;
  if (Clock::now() < pause_.until()) {
    throw RpcError(tolk::daemon_error::kDirectoryFailed, lastFailure_);
  }
  try {
    connect();
  } catch (const tolk::Base_Exception& e) {
    noteFailure(e.what());
    throw RpcError(tolk::daemon_error::kDirectoryFailed, e.what());
  }
  return *machine_;
}

void Directory::checkObject() {
  nextCheck_ = Clock::now() + limitOf(tolk::PN::VELKD_CHECK_INTERVAL);
  if (identity_.objectName.empty()) return;
  const MachineBinding::Read read =
      machine().read(identity_.objectName, {tolk::AD_USER_ACCNT_CONTROL});
  if (read.found) objectDn_ = read.object.dn();
  board_.update([&](DirectoryStatus& status) {
    status.object = stateOf(read);
    status.objectDn = objectDn_;
    status.lastCheck = std::time(nullptr);
  });
}

// The connection stays as it is until a new one with a new ticket stands.
void Directory::renewTicket() {
  try {
    connect();
  } catch (const tolk::Base_Exception& e) {
    noteFailure("Cannot renew the ticket: " + std::string(e.what()));
  }
}

void Directory::gather() {
  if (Clock::now() >= nextGathering_ && !ranges_.unfinished()) ranges_.restart();
  if (!ranges_.unfinished()) return;
  ranges_.step(machine());
  if (ranges_.unfinished()) return;
  nextGathering_ =
      Clock::now() + limitOf(ranges_.missing() == 0 ? tolk::PN::VELKD_IDENTIFIERS_INTERVAL
                                                    : tolk::PN::VELKD_CHECK_INTERVAL);
  board_.update([this](DirectoryStatus& status) {
    status.rangesKnown = true;
    status.ranges = ranges_.ranges();
  });
}

void Directory::doDue() {
  refreshIdentity();
  if (identity_.domain.empty()) return;
  MachineBinding& current = machine();
  if (std::time(nullptr) >= renewAt_ && Clock::now() >= pause_.until()) renewTicket();
  try {
    if (Clock::now() >= nextCheck_) checkObject();
    gather();
  } catch (const tolk::LDAPException& e) {
    if (meansLost(e) && machine_.get() == &current) disconnect();
    noteFailure(e.what());
  }
}

Directory::Clock::time_point Directory::upkeep() noexcept {
  try {
    doDue();
  } catch (const RpcError&) {
    // Noted where it happened.
  } catch (const std::exception& e) {
    noteFailure(e.what());
  }
  const Clock::time_point now = Clock::now();
  Clock::time_point next = now + limitOf(tolk::PN::VELKD_CHECK_INTERVAL);
  if (identity_.domain.empty() || machine_ == nullptr) {
    constexpr std::chrono::seconds kLookForJoin{2};
    next = identity_.domain.empty() ? now + kLookForJoin : pause_.until();
  } else if (ranges_.unfinished()) {
    next = pause_.until();
  } else {
    next = std::min({next, nextCheck_, nextGathering_});
  }
  return std::max(next, pause_.until());
}

void Directory::authorize(const FetchCall& call) {
  if (call.privileged) return;
  if (!call.server.empty()) deny();
  if (identity_.objectName.empty()) deny();
  if (tolk::equalsIgnoringCase(call.dn, identity_.objectName)) return;
  if (call.dn.starts_with('<')) deny();
  if (objectDn_.empty()) checkObject();
  if (!tolk::equalsIgnoringCase(call.dn, objectDn_)) deny();
}

MachineBinding::Read Directory::readFromOwnServer(const FetchCall& call) {
  try {
    return machine().read(call.dn, call.attributes);
  } catch (const tolk::LDAPException& e) {
    if (!meansLost(e)) throw;
    disconnect();
    if (meansSilent(e)) {
      noteFailure(e.what());
      throw;
    }
  }
  // A controller that was restarted, or closed an idle connection: once more, perhaps elsewhere.
  return machine().read(call.dn, call.attributes);
}

MachineBinding::Read Directory::readObject(const FetchCall& call) {
  if (call.server.empty()) return readFromOwnServer(call);
  const auto binding = machine().bindTo(identity_.domain, call.server);
  return MachineBinding::read(*binding, call.dn, call.attributes);
}

std::string Directory::fetch(const FetchCall& call) {
  try {
    refreshIdentity();
    if (identity_.domain.empty()) {
      throw RpcError(tolk::daemon_error::kNotJoined, "This host is in no domain.");
    }
    authorize(call);
    const std::string key = keyOf(call);
    const auto lifetime = limitOf(tolk::PN::VELKD_CACHE_LIFETIME);
    const bool cached = !call.fresh && !tolk::Props().getBool(tolk::PN::TOLKD_CACHE_DISABLE, false);
    auto known = cached ? cache_.find(key, lifetime, Clock::now()) : std::nullopt;
    board_.update(
        [&](DirectoryStatus& status) { ++(known ? status.cacheHits : status.cacheMisses); });
    if (known) return std::move(*known);
    std::string answer = answerOf(readObject(call));
    cache_.store(key, answer, lifetime, Clock::now());
    return answer;
  } catch (const tolk::Base_Exception& e) {
    throw RpcError(tolk::daemon_error::kDirectoryFailed, e.what());
  }
}

}  // namespace velkd
