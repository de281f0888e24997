// Directory objects on the daemon channel.
#include "tolk/rpc/wire_object.h"

#include <algorithm>
#include <boost/archive/iterators/base64_from_binary.hpp>
#include <boost/archive/iterators/binary_from_base64.hpp>
#include <boost/archive/iterators/transform_width.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

namespace iterators = boost::archive::iterators;

constexpr std::size_t kQuantum = 4;  // characters that stand for up to three bytes

json::Value valueToJson(const std::string& bytes, json::Allocator& memory) {
  json::Value value(rapidjson::kObjectType);
  if (isUtf8(bytes)) {
    value.AddMember("text", json::makeString(bytes, memory), memory);
  } else {
    value.AddMember("base64", json::makeString(base64Encode(bytes), memory), memory);
  }
  return value;
}

std::string valueFromJson(const json::Value& value) {
  if (json::findMember(value, "text") != nullptr) return json::stringMember(value, "text");
  return base64Decode(json::stringMember(value, "base64"));
}

const json::Value& arrayMember(const json::Value& object, const char* name) {
  const json::Value* member = json::findMember(object, name);
  if (member == nullptr || !member->IsArray()) {
    throw BadDataException(std::string("JSON member \"") + name + "\" is no array");
  }
  return *member;
}

}  // namespace

json::Value objectToJson(const ADObject& object, json::Allocator& memory) {
  json::Value attributes(rapidjson::kArrayType);
  for (const std::string& name : object.attributeNames()) {
    json::Value values(rapidjson::kArrayType);
    for (const std::string& bytes : object.getStrings(name)) {
      values.PushBack(valueToJson(bytes, memory), memory);
    }
    json::Value attribute(rapidjson::kObjectType);
    attribute.AddMember("name", json::makeString(name, memory), memory);
    attribute.AddMember("values", values, memory);
    attributes.PushBack(attribute, memory);
  }
  json::Value value(rapidjson::kObjectType);
  value.AddMember("dn", json::makeString(object.dn(), memory), memory);
  value.AddMember("attributes", attributes, memory);
  return value;
}

ADObject objectFromJson(const json::Value& value) {
  ADObject object(json::stringMember(value, "dn"));
  for (const json::Value& attribute : arrayMember(value, "attributes").GetArray()) {
    std::vector<std::string> values;
    for (const json::Value& one : arrayMember(attribute, "values").GetArray()) {
      values.push_back(valueFromJson(one));
    }
    object[json::stringMember(attribute, "name")] = std::move(values);
  }
  return object;
}

std::string base64Encode(std::string_view bytes) {
  using Encoder = iterators::base64_from_binary<
      iterators::transform_width<std::string_view::const_iterator, 6, 8>>;
  std::string text(Encoder(bytes.begin()), Encoder(bytes.end()));
  text.append((kQuantum - text.size() % kQuantum) % kQuantum, '=');
  return text;
}

std::string base64Decode(std::string_view text) {
  using Decoder =
      iterators::transform_width<iterators::binary_from_base64<std::string_view::const_iterator>, 8,
                                 6>;
  const std::size_t length = std::min(text.find_last_not_of('=') + 1, text.size());
  const std::size_t padding = text.size() - length;
  if (text.size() % kQuantum != 0 || padding > 2)
    throw BadDataException("Base64 of a wrong length");
  // The decoder wants whole groups of bits: padding becomes zero bits, whose bytes are cut off
  // again.
  std::string whole(text.substr(0, length));
  if (whole.find('=') != std::string::npos) throw BadDataException("Base64 with misplaced padding");
  whole.append(padding, 'A');
  try {
    const std::string_view all(whole);
    std::string bytes(Decoder(all.begin()), Decoder(all.end()));
    bytes.resize(bytes.size() - padding);
    return bytes;
  } catch (const iterators::dataflow_exception&) {
    throw BadDataException("Base64 with a character outside its alphabet");
  }
}

}  // namespace tolk
