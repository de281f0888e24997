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
#include "tolk/zones/computer_object_helper.h"
#include "velkd/account_check.h"
#include "velkd/health.h"
#include "velkd/notify.h"
#include "velkd/rpc_error.h"

namespace velkd {
namespace {

const tolk::Logger& logger() {
  return tolk::Logger::GetThreadPrivateLogger("velkd.directory");
}

std::chrono::milliseconds limitOf(const tolk::Property& property) {
  return std::chrono::milliseconds(tolk::Props().getLimitMs(property));
}

ObjectState stateOf(const MachineBinding::Read& read) {
  return tolk::ComputerObjectHelper::isDisabled(read.object) ? ObjectState::disabled
                                                             : ObjectState::usable;
}

}  // namespace

Directory::Identity Directory::readIdentity() {
  Identity identity{.domain = tolk::loadSetting(tolk::SETTING_DOMAIN_NAME),
                    .host = tolk::loadSetting(tolk::SETTING_HOST_NAME),
                    .sid = std::nullopt};
  if (identity.domain.empty() || identity.host.empty()) return {};
  identity.host += '\n' + tolk::PreW2KHostName();
  const std::string sid = tolk::loadSetting(tolk::SETTING_HOSTSID);
  if (!sid.empty()) identity.sid = tolk::SID(sid);
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

void Directory::forgetFailure() {
  if (lastFailure_.empty()) return;
  lastFailure_.clear();
  pause_.succeeded();
  board_.update([](DirectoryStatus& status) {
    status.failures = 0;
    status.lastFailure.clear();
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
  lastLook_ = {};
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

MachineBinding::Read Directory::readFromOwnServer(const std::string& dn,
                                                  const std::vector<std::string>& attributes) {
  try {
    return machine().read(dn, attributes);
  } catch (const tolk::LDAPException& e) {
    if (!meansLost(e) || meansSilent(e)) throw;
    disconnect();
  }
  // A controller that was restarted, or closed an idle connection: once more, perhaps elsewhere.
  return machine().read(dn, attributes);
}

// Whether an object with the recorded identifier may have been there: deleted, not another
// domain's.
bool Directory::identifierIsOfDomain() {
  const MachineBinding::Read domain =
      readFromOwnServer(tolk::LDAPBinding::DNSNameToDN(identity_.domain), {tolk::AD_OBJECT_SID});
  if (!identity_.sid || !domain.found || !domain.object.attributeExists(tolk::AD_OBJECT_SID, true))
    return true;
  return identity_.sid->isOfDomain(
      tolk::SID::fromBinary(domain.object[tolk::AD_OBJECT_SID].toString()));
}

void Directory::noteObject(const MachineBinding::Read& read) {
  ObjectState state = ObjectState::missing;
  std::vector<std::string> problems;
  if (read.found) {
    state = stateOf(read);
    objectDn_ = read.object.dn();
    problems = accountProblems(read.object, machine_->ticket().principal());
  } else if (!identifierIsOfDomain()) {
    state = ObjectState::foreign;
  }
  board_.update([&](DirectoryStatus& status) {
    if (problems != status.accountProblems) {
      for (const std::string& problem : problems) logger().log(tolk::LogLevel::warning, problem);
    }
    status.object = state;
    status.objectDn = objectDn_;
    status.accountProblems = problems;
    status.lastCheck = std::time(nullptr);
  });
  lastLook_ = Clock::now();
}

void Directory::checkObject() {
  nextCheck_ = Clock::now() + limitOf(tolk::PN::VELKD_CHECK_INTERVAL);
  if (identity_.sid) noteObject(readFromOwnServer(identity_.sid->toDN(), lookedAt()));
}

void Directory::look(Clock::time_point since) noexcept {
  try {
    refreshIdentity();
    if (!identity_.domain.empty() && lastLook_ < since) notingFailures([this] { checkObject(); });
  } catch (const RpcError&) {
    // There is no connection; noted where that was found.
  } catch (const std::exception& e) {
    noteFailure(e.what());
  }
  tellServiceManager();
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

template <typename Step>
void Directory::notingFailures(const Step& step) {
  try {
    step();
  } catch (const tolk::LDAPException& e) {
    if (meansLost(e)) disconnect();
    noteFailure(e.what());
  }
}

void Directory::doDue() {
  refreshIdentity();
  if (identity_.domain.empty()) return;
  (void)machine();
  const bool renewalDue = std::time(nullptr) >= renewAt_;
  if (renewalDue && Clock::now() >= pause_.until()) renewTicket();
  notingFailures([&] {
    if (Clock::now() >= nextCheck_) checkObject();
    gather();
    if (!renewalDue && !ranges_.unfinished()) forgetFailure();
  });
}

Directory::Clock::time_point Directory::upkeep() noexcept {
  try {
    doDue();
  } catch (const RpcError&) {
    // Noted where it happened.
  } catch (const std::exception& e) {
    noteFailure(e.what());
  }
  tellServiceManager();
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

void Directory::tellServiceManager() {
  std::string line = statusLine(board_.get(), std::time(nullptr));
  if (line == told_) return;
  notifyServiceManager("STATUS=" + line);
  told_ = std::move(line);
}

}  // namespace velkd
