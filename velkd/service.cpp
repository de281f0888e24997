// The methods of the daemon channel.
#include "velkd/service.h"

#include <array>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/varlink_wire.h"
#include "velkd/interface_text.h"
#include "velkd/service_call.h"
#include "velkd/system_info.h"

namespace velkd {
namespace {

std::string serviceInfo() {
  Reply reply;
  json::Value names(rapidjson::kArrayType);
  for (const std::string_view name : {kServiceInterfaceName, kInterfaceName}) {
    names.PushBack(json::makeString(name, reply.memory()), reply.memory());
  }
  return reply.add("vendor", "Pellion")
      .add("product", "velkd")
      .add("version", ORVALD_RELEASE)
      .add("url", "")
      .add("interfaces", std::move(names))
      .text();
}

std::string interfaceDescription(const json::Value& parameters) {
  const std::string name = cText(parameters, "interface");
  if (name == kInterfaceName) return Reply().add("description", kInterfaceText).text();
  if (name == kServiceInterfaceName) {
    return Reply().add("description", kServiceInterfaceText).text();
  }
  throw RpcError(tolk::daemon_error::kInterfaceNotFound, name, "interface");
}

[[noreturn]] void throwUnknown(const std::string& method) {
  const std::string interface = method.substr(0, method.rfind('.'));
  if (interface == kInterfaceName || interface == kServiceInterfaceName) {
    throw RpcError(tolk::daemon_error::kMethodNotFound, method, "method");
  }
  throw RpcError(tolk::daemon_error::kInterfaceNotFound, interface, "interface");
}

std::string messageMember(const json::Document& message) {
  if (!message.IsObject()) throw tolk::BadDataException("The call is no JSON object");
  return json::stringMember(message, "method");
}

constexpr const char* kLate = "The directory has not answered in time.";

std::chrono::milliseconds callLimit() {
  return std::chrono::milliseconds(tolk::Props().getLimitMs(tolk::PN::VELKD_RPC_TIMEOUT));
}

}  // namespace

struct Service::Method {
  std::string_view name;
  Outcome (*run)(Service&, const Call&);
};

Outcome Service::run(const Call& call) {
  namespace names = tolk::daemon_method;
  static constexpr std::array kMethods{
      Method{names::kAuthenticate,
             [](Service&, const Call& c) -> Outcome {
               const Caller& caller = c.request.caller;
               return Reply()
                   .add("uid", json::Value(caller.uid))
                   .add("privileged", json::Value(caller.privileged()))
                   .text();
             }},
      Method{names::kFetchObject, [](Service& s, const Call& c) { return s.fetchObject(c); }},
      Method{names::kGetCurrentDC,
             [](Service& s, const Call&) -> Outcome {
               return Reply().add("host", s.board_.get().controller).text();
             }},
      Method{names::kGetSystemInfo, [](Service& s, const Call& c) { return s.getSystemInfo(c); }},
      Method{names::kGetDomainIdentifiers,
             [](Service& s, const Call& c) { return s.getDomainIdentifiers(c); }},
      Method{names::kGetCloudInstance,
             [](Service& s, const Call& c) { return s.getCloudInstance(c); }},
      Method{names::kLogPrivilegeEvent,
             [](Service& s, const Call& c) { return s.logPrivilegeEvent(c); }},
      Method{names::kStartMfa, [](Service& s, const Call& c) { return s.startMfa(c); }},
      Method{names::kAdvanceMfa, [](Service& s, const Call& c) { return s.advanceMfa(c); }},
      Method{names::kEndMfa, [](Service& s, const Call& c) { return s.endMfa(c); }},
      Method{names::kGetInfo, [](Service&, const Call&) -> Outcome { return serviceInfo(); }},
      Method{
          names::kGetInterfaceDescription,
          [](Service&, const Call& c) -> Outcome { return interfaceDescription(c.parameters()); }},
  };
  for (const Method& method : kMethods) {
    if (method.name == call.method) return method.run(*this, call);
  }
  throwUnknown(call.method);
}

Outcome Service::handle(const Request& request) {
  Call call{.request = request, .method = {}, .message = json::parse(request.text)};
  call.method = messageMember(call.message);
  Outcome outcome(Patience{});
  bool error = false;
  std::string counted = call.method;
  try {
    call.oneway = flag(call.message, "oneway", false);
    outcome = run(call);
  } catch (const RpcError& e) {
    // What callers make up is counted as one, so that it takes no memory.
    const bool unknown = e.name() == tolk::daemon_error::kMethodNotFound ||
                         e.name() == tolk::daemon_error::kInterfaceNotFound;
    if (unknown) counted = "unknown methods";
    error = true;
    outcome = errorText(e);
  }
  if (!outcome.answer) return outcome;  // counted by the worker
  counters_.count(counted, error, call.age());
  return call.oneway ? Outcome(std::string()) : outcome;
}

void Service::answerLater(const Later& later, const std::function<std::string()>& make) {
  std::string answer;
  bool error = false;
  try {
    answer = make();
  } catch (const RpcError& e) {
    error = true;
    answer = errorText(e);
  } catch (const std::exception& e) {
    error = true;
    answer = errorText(RpcError(tolk::daemon_error::kDirectoryFailed, e.what()));
  }
  counters_.count(
      later.method, error,
      std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - later.started));
  mailbox_.post({.connection = later.connection,
                 .call = later.call,
                 .text = later.oneway ? std::string() : std::move(answer)});
}

Outcome Service::fetchObject(const Call& call) {
  const json::Value& parameters = call.parameters();
  FetchCall fetch{.privileged = call.request.caller.privileged(),
                  .server = cText(parameters, "server"),
                  .dn = cText(parameters, "dn"),
                  .attributes = attributeNames(parameters, "attributes"),
                  .fresh = flag(parameters, "fresh", false)};
  const auto job = [this, fetch = std::move(fetch), later = Later(call)] {
    answerLater(later, [&] {
      if (Clock::now() - later.started >= callLimit()) {
        throw RpcError(tolk::daemon_error::kDirectoryFailed, "The call has waited too long.");
      }
      std::string answer = fetch_(fetch);
      if (answer.size() > tolk::kMaxMessageBytes) {
        throw RpcError(tolk::daemon_error::kDirectoryFailed, "The object is too large.");
      }
      return answer;
    });
  };
  if (!worker_.post(call.request.caller.uid, job)) {
    throw RpcError(tolk::daemon_error::kDirectoryFailed, "Too many calls are waiting.");
  }
  // The worker may hang. The caller learns of it from the daemon, not by its own limit.
  const auto late = [oneway = call.oneway] {
    return oneway ? std::string()
                  : errorText(RpcError(tolk::daemon_error::kDirectoryFailed, kLate));
  };
  return Outcome(Patience{.end = call.started + callLimit() * 9 / 10, .answer = late});
}

Outcome Service::getSystemInfo(const Call& call) {
  const json::Value& modules = needed(call.parameters(), "modules");
  if (!modules.IsUint()) throwInvalid("modules");
  const std::optional<bool> counting = countingWanted(modules.GetUint());
  const bool privileged = call.request.caller.privileged();
  if (counting && !privileged) {
    throw RpcError(tolk::daemon_error::kPermissionDenied,
                   "Only root may switch the performance counters.");
  }
  if (counting && *counting) counters_.enable();
  if (counting && !*counting) counters_.disable();
  const auto describe = [this, privileged, mask = modules.GetUint()](bool looked) {
    SystemFacts facts = readSystemFacts(privileged, board_, counters_);
    facts.directoryIsSilent = !looked;
    return Reply().add("text", systemInfoText(mask, facts)).text();
  };
  const bool ofNow =
      (modules.GetUint() & (tolk::daemon_module::kAdAgent | tolk::daemon_module::kHealth)) != 0;
  const DirectoryStatus status = board_.get();
  // Without a connection nothing is to be seen, and the board says why.
  const bool mayLook = status.connected || status.lastFailure.empty();
  if (ofNow && mayLook) {
    if (std::optional<Outcome> later = lookFirst(call, describe)) return std::move(*later);
  }
  return describe(true);
}

// The worker may be waiting for a server that is of no interest here, so the answer does not wait
// for it without limit.
std::optional<Outcome> Service::lookFirst(const Call& call,
                                          const std::function<std::string(bool)>& make) {
  const bool posted = worker_.post(call.request.caller.uid, [this, make, later = Later(call)] {
    look_(later.started);
    answerLater(later, [&make] { return make(true); });
  });
  if (!posted) return std::nullopt;
  const auto late = [make, oneway = call.oneway] { return oneway ? std::string() : make(false); };
  return Outcome(Patience{.end = call.started + callLimit() / 2, .answer = late});
}

Outcome Service::getDomainIdentifiers(const Call& call) {
  if (!call.request.caller.privileged()) {
    throw RpcError(tolk::daemon_error::kPermissionDenied,
                   "Only root may read the domain identifier ranges.");
  }
  const DirectoryStatus status = board_.get();
  if (!status.joined) {
    throw RpcError(tolk::daemon_error::kNotJoined, "This host is in no domain.");
  }
  if (!status.rangesKnown) {
    const std::string notYet = "The domain identifier ranges are not known yet.";
    if (status.lastFailure.empty()) {
      worker_.wake();  // a join that was taken over for another caller has its upkeep only later
      throw RpcError(tolk::daemon_error::kStillGathering, notYet);
    }
    throw RpcError(status.connected ? tolk::daemon_error::kStillGathering
                                    : tolk::daemon_error::kDirectoryFailed,
                   notYet + " " + status.lastFailure);
  }
  Reply reply;
  json::Value ranges(rapidjson::kArrayType);
  for (const auto& [domain, range] : status.ranges) {
    json::Value pair(rapidjson::kObjectType);
    pair.AddMember("key", json::makeString(domain, reply.memory()), reply.memory());
    pair.AddMember("value", json::makeString(range, reply.memory()), reply.memory());
    ranges.PushBack(pair, reply.memory());
  }
  return reply.add("ranges", std::move(ranges)).text();
}

}  // namespace velkd
