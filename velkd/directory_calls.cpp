// What callers ask of the daemon's work with the directory: who may read what, and the answers.
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/wire_object.h"
#include "velkd/account_check.h"
#include "velkd/directory.h"
#include "velkd/health.h"
#include "velkd/rpc_error.h"

namespace velkd {
namespace {

// All attributes, and those that a look needs besides: constructed ones come only when they are
// named (MS-ADTS 3.1.1.4.5).
std::vector<std::string> allAndLookedAt() {
  std::vector<std::string> names = lookedAt();
  names.emplace_back("*");
  return names;
}

// `reason` says why there is no object, where more is known than that.
std::string answerOf(const MachineBinding::Read& read, const std::string& reason) {
  tolk::json::Document parameters(rapidjson::kObjectType);
  tolk::json::Allocator& memory = parameters.GetAllocator();
  tolk::json::Value object;
  if (read.found) object = tolk::objectToJson(read.object, memory);
  parameters.AddMember("object", object, memory);
  if (!reason.empty()) {
    parameters.AddMember("reason", tolk::json::makeString(reason, memory), memory);
  }
  return tolk::encodeReply(parameters);
}

std::string keyOf(const FetchCall& call) {
  std::string key = tolk::toLower(call.server) + '\n' + tolk::toLower(call.dn);
  for (const std::string& name : call.attributes) key += '\n' + tolk::toLower(name);
  return key;
}

[[noreturn]] void deny() {
  throw RpcError(tolk::daemon_error::kPermissionDenied,
                 "Only root may read another object than this host's own.");
}

}  // namespace

void Directory::authorize(const FetchCall& call) {
  if (call.privileged) return;
  if (!call.server.empty()) deny();
  if (!identity_.sid) deny();
  if (isOwnObject(call)) return;
  if (call.dn.starts_with('<')) deny();
  if (objectDn_.empty()) checkObject();
  if (!tolk::equalsIgnoringCase(call.dn, objectDn_)) deny();
}

bool Directory::isOwnObject(const FetchCall& call) const {
  return call.server.empty() && identity_.sid &&
         tolk::equalsIgnoringCase(call.dn, identity_.sid->toDN());
}

MachineBinding::Read Directory::readObject(const FetchCall& call) {
  if (!call.server.empty()) {
    const auto binding = machine().bindTo(identity_.domain, call.server);
    return MachineBinding::read(*binding, call.dn, call.attributes);
  }
  try {
    if (!isOwnObject(call) || !call.attributes.empty()) {
      return readFromOwnServer(call.dn, call.attributes);
    }
    MachineBinding::Read own = readFromOwnServer(call.dn, allAndLookedAt());
    noteObject(own);
    return own;
  } catch (const tolk::LDAPException& e) {
    if (meansLost(e)) {
      disconnect();
      noteFailure(e.what());
    }
    throw;
  }
}

std::string Directory::answer(const FetchCall& call) {
  const std::string key = keyOf(call);
  const std::chrono::milliseconds lifetime(
      tolk::Props().getLimitMs(tolk::PN::VELKD_CACHE_LIFETIME));
  const bool cached = !call.fresh && !tolk::Props().getBool(tolk::PN::TOLKD_CACHE_DISABLE);
  auto known = cached ? cache_.find(key, lifetime, Clock::now()) : std::nullopt;
  board_.update(
      [&](DirectoryStatus& status) { ++(known ? status.cacheHits : status.cacheMisses); });
  if (known) return std::move(*known);
  const MachineBinding::Read read = readObject(call);
  const DirectoryStatus status = board_.get();
  std::string text = answerOf(read, !read.found && isOwnObject(call) ? objectProblem(status) : "");
  cache_.store(key, text, lifetime, Clock::now());
  return text;
}

std::string Directory::fetch(const FetchCall& call) {
  try {
    refreshIdentity();
    if (identity_.domain.empty()) {
      throw RpcError(tolk::daemon_error::kNotJoined, "This host is in no domain.");
    }
    authorize(call);
    std::string text = answer(call);
    tellServiceManager();
    return text;
  } catch (const tolk::Base_Exception& e) {
    tellServiceManager();
    throw RpcError(tolk::daemon_error::kDirectoryFailed, e.what());
  }
}

}  // namespace velkd
