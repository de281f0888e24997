// One call on the daemon channel while it is answered.
#include "velkd/service_call.h"

#include <algorithm>
#include <utility>

#include "tolk/base/text.h"

namespace velkd {
namespace {

std::string textOf(const json::Value& value, std::string_view name) {
  if (!value.IsString()) throwInvalid(name);
  return {value.GetString(), value.GetStringLength()};
}

}  // namespace

std::string errorText(const RpcError& error) {
  json::Document parameters(rapidjson::kObjectType);
  json::Allocator& memory = parameters.GetAllocator();
  parameters.AddMember(json::makeString(error.parameter(), memory),
                       json::makeString(tolk::printable(error.message()), memory), memory);
  return tolk::encodeError(error.name(), parameters);
}

[[noreturn]] void throwInvalid(std::string_view parameter) {
  throw RpcError(tolk::daemon_error::kInvalidParameter, std::string(parameter), "parameter");
}

const json::Value& needed(const json::Value& parameters, std::string_view name) {
  const json::Value* member = json::findMember(parameters, name);
  if (member == nullptr) throwInvalid(name);
  return *member;
}

bool flag(const json::Value& object, std::string_view name, bool fallback) {
  const json::Value* member = json::findMember(object, name);
  if (member == nullptr) return fallback;
  if (!member->IsBool()) throwInvalid(name);
  return member->GetBool();
}

std::vector<std::string> attributeNames(const json::Value& parameters, std::string_view name) {
  constexpr std::size_t kMostNames = 1024;
  constexpr std::size_t kLongestName = 256;
  const json::Value& list = needed(parameters, name);
  if (!list.IsArray() || list.Size() > kMostNames) throwInvalid(name);
  std::vector<std::string> all;
  for (const json::Value& item : list.GetArray()) {
    std::string one = textOf(item, name);
    const bool graphic = std::ranges::all_of(one, [](char c) { return c > ' ' && c <= '~'; });
    if (one.empty() || one.size() > kLongestName || !graphic) throwInvalid(name);
    all.push_back(std::move(one));
  }
  return all;
}

std::string_view cView(const json::Value& parameters, std::string_view name) {
  const json::Value& value = needed(parameters, name);
  if (!value.IsString()) throwInvalid(name);
  const std::string_view text(value.GetString(), value.GetStringLength());
  if (text.find('\0') != std::string_view::npos) throwInvalid(name);
  return text;
}

std::string cText(const json::Value& parameters, std::string_view name) {
  return std::string(cView(parameters, name));
}

}  // namespace velkd
