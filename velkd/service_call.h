// One call on the daemon channel while it is answered: its parameters, and what becomes its answer.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "tolk/base/json.h"
#include "tolk/rpc/daemon_protocol.h"
#include "velkd/rpc_error.h"
#include "velkd/service.h"

namespace velkd {

namespace json = tolk::json;
using Clock = std::chrono::steady_clock;

/// The parameters of an answer while they are put together.
struct Reply {
  json::Document value{rapidjson::kObjectType};

  json::Allocator& memory() { return value.GetAllocator(); }
  Reply& add(const char* name, json::Value member) {
    value.AddMember(rapidjson::StringRef(name), member, memory());
    return *this;
  }
  Reply& add(const char* name, std::string_view text) {
    return add(name, json::makeString(text, memory()));
  }
  [[nodiscard]] std::string text() const { return tolk::encodeReply(value); }
};

/// The text of an error answer.
[[nodiscard]] std::string errorText(const RpcError& error);

/// A parameter is missing or of another type than the interface says.
[[noreturn]] void throwInvalid(std::string_view parameter);

/// Parameters by name, of the type that the interface says; else they throw as throwInvalid().
[[nodiscard]] const json::Value& needed(const json::Value& parameters, std::string_view name);
[[nodiscard]] bool flag(const json::Value& object, std::string_view name, bool fallback);
/// A list of attribute descriptions (RFC 4512, 2.5, and "*" and the like): graphic ASCII, at most
/// 256 bytes each.
[[nodiscard]] std::vector<std::string> attributeNames(const json::Value& parameters,
                                                      std::string_view name);
/// A text without a NUL byte, which would end it early in C.
[[nodiscard]] std::string cText(const json::Value& parameters, std::string_view name);
/// The same in place, for a secret; valid as long as the parameters.
[[nodiscard]] std::string_view cView(const json::Value& parameters, std::string_view name);

struct Service::Call {
  Request request;
  std::string method;
  json::Document message;
  bool oneway = false;  ///< the caller wants no answer
  Clock::time_point started = Clock::now();

  [[nodiscard]] const json::Value& parameters() const {
    static const json::Value kNone(rapidjson::kObjectType);
    const json::Value* found = json::findMember(message, "parameters");
    if (found == nullptr) return kNone;
    if (!found->IsObject()) throwInvalid("parameters");
    return *found;
  }
  [[nodiscard]] std::chrono::microseconds age() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - started);
  }
};

/// A call that another thread answers.
struct Service::Later {
  ConnectionId connection;
  std::uint64_t call;
  std::string method;
  bool oneway;
  Clock::time_point started;

  explicit Later(const Call& of)
      : connection(of.request.connection),
        call(of.request.call),
        method(of.method),
        oneway(of.oneway),
        started(of.started) {}
};

}  // namespace velkd
