// JSON text in and out.
#include "tolk/base/json.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"

namespace tolk::json {
namespace {

// Stands in front of the document while it is parsed and ends the parse where it is nested too
// deep. Later would be too late: walking through and copying a deep value recurse.
class DepthLimit {
 public:
  DepthLimit(Document& document, unsigned maxDepth) : document_(document), maxDepth_(maxDepth) {}

  bool Null() { return document_.Null(); }
  bool Bool(bool value) { return document_.Bool(value); }
  bool Int(int value) { return document_.Int(value); }
  bool Uint(unsigned value) { return document_.Uint(value); }
  bool Int64(std::int64_t value) { return document_.Int64(value); }
  bool Uint64(std::uint64_t value) { return document_.Uint64(value); }
  bool Double(double value) { return document_.Double(value); }
  bool RawNumber(const char* text, rapidjson::SizeType length, bool copy) {
    return document_.RawNumber(text, length, copy);
  }
  bool String(const char* text, rapidjson::SizeType length, bool copy) {
    return document_.String(text, length, copy);
  }
  bool Key(const char* text, rapidjson::SizeType length, bool copy) {
    return document_.Key(text, length, copy);
  }
  bool StartObject() { return enter() && document_.StartObject(); }
  bool StartArray() { return enter() && document_.StartArray(); }
  bool EndObject(rapidjson::SizeType members) {
    --depth_;
    return document_.EndObject(members);
  }
  bool EndArray(rapidjson::SizeType elements) {
    --depth_;
    return document_.EndArray(elements);
  }

 private:
  bool enter() { return ++depth_ <= maxDepth_; }

  Document& document_;
  unsigned maxDepth_;
  unsigned depth_ = 0;
};

std::string faultText(const rapidjson::ParseResult& result, unsigned maxDepth) {
  const std::string reason = result.Code() == rapidjson::kParseErrorTermination
                                 ? "Nested more than " + std::to_string(maxDepth) + " deep."
                                 : rapidjson::GetParseError_En(result.Code());
  return "Bad JSON at byte " + std::to_string(result.Offset()) + ": " + reason;
}

[[noreturn]] void throwMember(std::string_view name, const char* fault) {
  throw BadDataException("JSON member \"" + printable(name) + "\" " + fault);
}

const Value& neededMember(const Value& object, std::string_view name) {
  const Value* member = findMember(object, name);
  if (member == nullptr) throwMember(name, "is missing");
  return *member;
}

template <unsigned Flags, typename Stream>
Document populate(Stream& stream, unsigned maxDepth) {
  rapidjson::ParseResult result;
  Document document;
  const auto generate = [&](Document& handler) {
    constexpr unsigned kFlags =
        Flags | rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    DepthLimit limit(handler, maxDepth);
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, WipingAllocator> reader;
    result = reader.Parse<kFlags>(stream, limit);
    return !result.IsError();
  };
  document.Populate(generate);
  if (result.IsError()) throw BadDataException(faultText(result, maxDepth));
  return document;
}

}  // namespace

void throwWrongUse(const char* condition) {
  throw BadDataException(std::string("JSON value of another kind than expected: ") + condition);
}

Document parse(std::string_view text, unsigned maxDepth) {
  // The reader takes a NUL byte for the end of the text and would not look at what follows.
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    throw BadDataException("Bad JSON at byte " + std::to_string(nul) + ": NUL byte.");
  }
  rapidjson::MemoryStream stream(text.data(), text.size());
  return populate<rapidjson::kParseNoFlags>(stream, maxDepth);
}

Document parseInPlace(char* text, unsigned maxDepth) {
  rapidjson::InsituStringStream stream(text);
  return populate<rapidjson::kParseInsituFlag>(stream, maxDepth);
}

std::string write(const Value& value) {
  using Buffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, WipingAllocator>;
  using Writer = rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>, WipingAllocator,
                                   rapidjson::kWriteValidateEncodingFlag>;
  Buffer buffer;
  Writer writer(buffer);
  if (!value.Accept(writer)) throw BadDataException("Text for JSON is not UTF-8");
  return {buffer.GetString(), buffer.GetSize()};
}

const Value* findMember(const Value& object, std::string_view name) noexcept {
  if (!object.IsObject()) return nullptr;
  for (const auto& member : object.GetObject()) {
    if (std::string_view(member.name.GetString(), member.name.GetStringLength()) != name) continue;
    return member.value.IsNull() ? nullptr : &member.value;
  }
  return nullptr;
}

std::string_view stringView(const Value& object, std::string_view name) {
  const Value& member = neededMember(object, name);
  if (!member.IsString()) throwMember(name, "is no string");
  return {member.GetString(), member.GetStringLength()};
}

std::string stringMember(const Value& object, std::string_view name) {
  return std::string(stringView(object, name));
}

std::int64_t integerMember(const Value& object, std::string_view name) {
  const Value& member = neededMember(object, name);
  if (!member.IsInt64()) throwMember(name, "is no whole number");
  return member.GetInt64();
}

Value makeString(std::string_view text, Allocator& memory) {
  return Value(text.data(), static_cast<rapidjson::SizeType>(text.size()), memory);
}

}  // namespace tolk::json
