// A multi-factor authentication between two calls, on the wire.
#include "tolk/rpc/mfa_step.h"

#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

bool flag(const json::Value& object, const char* name) {
  const json::Value* member = json::findMember(object, name);
  if (member == nullptr || !member->IsBool()) {
    throw BadDataException(std::string("JSON member \"") + name + "\" is no boolean");
  }
  return member->GetBool();
}

int summaryOf(const json::Value& parameters) {
  constexpr int kMost = 4;
  const std::int64_t summary = json::integerMember(parameters, "summary");
  if (summary < 0 || summary > kMost) throw BadDataException("summary is out of range");
  return static_cast<int>(summary);
}

}  // namespace

std::chrono::milliseconds mfaCallLimit() {
  constexpr int kMostTransfers = 8;  // site check, sign-on, impersonation and what follows, renewed
  return kMostTransfers * std::chrono::milliseconds(Props().getLimitMs(PN::CLOUD_CURL_TIMEOUT));
}

json::Document mfaStepToJson(const MfaStep& step) {
  json::Document value(rapidjson::kObjectType);
  json::Allocator& memory = value.GetAllocator();
  const auto text = [&memory](const std::string& bytes) { return json::makeString(bytes, memory); };
  value.AddMember("session", text(step.session), memory);
  value.AddMember("summary", step.summary, memory);
  value.AddMember("challenge", text(step.challenge), memory);
  json::Value choices(rapidjson::kArrayType);
  for (const MfaChoice& choice : step.choices) {
    json::Value one(rapidjson::kObjectType);
    one.AddMember("id", text(choice.id), memory);
    one.AddMember("name", text(choice.name), memory);
    one.AddMember("text", text(choice.text), memory);
    one.AddMember("prompt", text(choice.prompt), memory);
    one.AddMember("outOfBand", choice.outOfBand, memory);
    one.AddMember("takesText", choice.takesText, memory);
    choices.PushBack(one, memory);
  }
  value.AddMember("choices", choices, memory);
  return value;
}

MfaStep mfaStepFromJson(const json::Value& parameters) {
  MfaStep step{.session = json::stringMember(parameters, "session"),
               .summary = summaryOf(parameters),
               .challenge = json::stringMember(parameters, "challenge"),
               .choices = {}};
  const json::Value* choices = json::findMember(parameters, "choices");
  if (choices == nullptr || !choices->IsArray()) throw BadDataException("choices is no list");
  for (const json::Value& one : choices->GetArray()) {
    step.choices.push_back({.id = json::stringMember(one, "id"),
                            .name = json::stringMember(one, "name"),
                            .text = json::stringMember(one, "text"),
                            .prompt = json::stringMember(one, "prompt"),
                            .outOfBand = flag(one, "outOfBand"),
                            .takesText = flag(one, "takesText")});
  }
  return step;
}

}  // namespace tolk
