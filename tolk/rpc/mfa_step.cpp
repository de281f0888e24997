// A multi-factor authentication between two calls, on the wire.
#include "tolk/rpc/mfa_step.h"

#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

bool flag(const json::Value& object, const char* name) {
  const json::Value* member = json::findMember(object, name);
  if (member == nullptr || !member->IsBool()) {
    throw BadDataException(std::string("JSON member \"") + name + "\" is no boolean");
  }
  return member->GetBool();
}

}  // namespace

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
               .summary = static_cast<int>(json::integerMember(parameters, "summary")),
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
