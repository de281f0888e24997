// Facts files are merged over healthy.json: what a case does not say is as on a healthy host.
#include "tests/unit/check/fact_cases.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "facts/facts_file.h"
#include "tolk/base/json.h"

namespace joinscope::test {
namespace {

namespace json = tolk::json;

const std::filesystem::path kFolder = JOINSCOPE_SOURCE_DIR "/tests/data/facts";

json::Document readJson(const std::string& name) {
  std::ostringstream text;
  text << std::ifstream(kFolder / (name + ".json")).rdbuf();
  try {
    return json::parse(text.str());
  } catch (const tolk::BadDataException& e) {
    throw tolk::BadDataException(name + ".json: " + e.what());
  }
}

/// The value below `place` that a member of a change is about; an element of a list by its number.
json::Value& placeOf(json::Value& place, const json::Value& name, json::Allocator& memory) {
  if (place.IsArray()) return place[static_cast<rapidjson::SizeType>(std::stoul(name.GetString()))];
  if (!place.HasMember(name)) place.AddMember(json::Value(name, memory), json::Value(), memory);
  return place[name];
}

/// RFC 7396, and an object over a list changes the elements that it numbers.
void merge(json::Value& place, const json::Value& change, json::Allocator& memory) {
  if (!change.IsObject()) {
    place.CopyFrom(change, memory);
    return;
  }
  if (!place.IsObject() && !place.IsArray()) place.SetObject();
  for (const auto& member : change.GetObject()) {
    merge(placeOf(place, member.name, memory), member.value, memory);
  }
}

std::string titleOf(const json::Value& one) {
  return one.HasMember("case") ? std::string(": ") + one["case"].GetString() : "";
}

FactCase caseOf(const std::string& name, const json::Value& one) {
  json::Document whole = readJson(one.HasMember("over") ? one["over"].GetString() : "healthy");
  FactCase made{.name = name + titleOf(one), .facts = {}, .expected = {}};
  merge(whole, one, whole.GetAllocator());
  try {
    made.facts = facts::readFacts(json::write(whole));
  } catch (const tolk::BadDataException& e) {
    throw tolk::BadDataException(made.name + ": " + e.what());
  }
  for (const auto& row : one["expect"].GetObject()) {
    made.expected.emplace_back(row.name.GetString(), row.value.GetString());
  }
  return made;
}

}  // namespace

std::vector<FactCase> factCases() {
  std::vector<FactCase> cases;
  for (const auto& file : std::filesystem::directory_iterator(kFolder)) {
    if (file.path().extension() != ".json") continue;
    const std::string name = file.path().stem();
    const json::Document content = readJson(name);
    if (!content.IsArray()) cases.push_back(caseOf(name, content));
    if (!content.IsArray()) continue;
    for (const json::Value& one : content.GetArray()) cases.push_back(caseOf(name, one));
  }
  return cases;
}

facts::Facts factsOf(const std::string& name) {
  return caseOf(name, readJson(name)).facts;
}

}  // namespace joinscope::test
