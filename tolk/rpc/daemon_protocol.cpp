// Messages of the daemon channel.
#include "tolk/rpc/daemon_protocol.h"

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/rpc/varlink_wire.h"

namespace tolk {
namespace {

// An object of an optional name and the parameters: {"method":"...","parameters":{...}}.
std::string encode(const char* nameMember, std::string_view name, const json::Value& parameters) {
  json::Document message(rapidjson::kObjectType);
  json::Allocator& memory = message.GetAllocator();
  if (!name.empty()) {
    message.AddMember(json::Value(rapidjson::StringRef(nameMember)), json::makeString(name, memory),
                      memory);
  }
  message.AddMember("parameters", json::Value(parameters, memory), memory);
  return json::write(message);
}

[[noreturn]] void throwError(const json::Value& error, const json::Value* parameters) {
  if (!error.IsString()) {
    throw IPCException("The answer's error is no name", IpcError::kBadMessage);
  }
  std::string text(error.GetString(), error.GetStringLength());
  const bool gathering = text == daemon_error::kStillGathering;
  const json::Value* message =
      parameters == nullptr ? nullptr : json::findMember(*parameters, "message");
  if (message != nullptr && message->IsString()) {
    text += ": " + std::string(message->GetString(), message->GetStringLength());
  }
  throw IPCException(printable(text),
                     gathering ? IpcError::kStillGathering : IpcError::kErrorAnswer);
}

}  // namespace

std::string encodeCall(std::string_view method, const json::Value& parameters) {
  return encode("method", method, parameters);
}

std::string encodeReply(const json::Value& parameters) {
  return encode("", "", parameters);
}

std::string encodeError(std::string_view error, const json::Value& parameters) {
  return encode("error", error, parameters);
}

json::Document decodeReply(std::string_view text) {
  json::Document answer;
  try {
    answer = json::parse(text);
  } catch (const BadDataException& e) {
    throw IPCException(e.what(), IpcError::kBadMessage);
  }
  if (!answer.IsObject()) {
    throw IPCException("The answer is no JSON object", IpcError::kBadMessage);
  }
  const json::Value* parameters = json::findMember(answer, "parameters");
  if (const json::Value* error = json::findMember(answer, "error")) throwError(*error, parameters);
  if (parameters == nullptr) return json::Document(rapidjson::kObjectType);
  if (!parameters->IsObject()) {
    throw IPCException("The answer's parameters are no object", IpcError::kBadMessage);
  }
  json::Document copy;
  copy.CopyFrom(*parameters, copy.GetAllocator());
  return copy;
}

}  // namespace tolk
