// JSON text in and out: the one header that includes RapidJSON, so that its settings are the same
// everywhere. The defaults of that library crash on hostile input: its parser recurses, and a wrong
// type is an assertion.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/wiping_memory.h"

namespace tolk::json {
/// Throws BadDataException: a value was used as what it is not.
[[noreturn]] void throwWrongUse(const char* condition);
}  // namespace tolk::json

#define RAPIDJSON_ASSERT(x) \
  (static_cast<bool>(x) ? static_cast<void>(0) : ::tolk::json::throwWrongUse(#x))
#define RAPIDJSON_HAS_STDSTRING 1
#include <rapidjson/document.h>
#include <rapidjson/writer.h>

namespace tolk::json {

/// A document may hold a password, so its memory is zeroed before it is given back (RapidJSON's
/// concept Allocator).
struct WipingAllocator {
  static constexpr bool kNeedFree = true;
  void* Malloc(std::size_t size) { return size == 0 ? nullptr : std::malloc(size); }
  void* Realloc(void* block, std::size_t /*oldSize*/, std::size_t size) {
    if (size != 0) return wipingRealloc(block, size);
    wipeAndFree(block);
    return nullptr;
  }
  static void Free(void* block) noexcept { wipeAndFree(block); }
  bool operator==(const WipingAllocator& /*other*/) const noexcept { return true; }
  bool operator!=(const WipingAllocator& /*other*/) const noexcept { return false; }
};

using Allocator = rapidjson::MemoryPoolAllocator<WipingAllocator>;
using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, Allocator, WipingAllocator>;
using Value = Document::ValueType;

inline constexpr unsigned kMaxDepth = 32;

/// One JSON value (RFC 8259) and nothing behind it. Iterative; objects and arrays nested deeper
/// than `maxDepth`, a NUL byte and text that is not UTF-8 are refused while parsing. Throws
/// BadDataException with the place of the fault. Of several members of one name the first counts.
Document parse(std::string_view text, unsigned maxDepth = kMaxDepth);

/// The same for a text that ends with a NUL, which is overwritten: the strings of the value point
/// into it, so that a secret is nowhere else.
Document parseInPlace(char* text, unsigned maxDepth = kMaxDepth);

/// The text of a value, without blanks. Throws BadDataException when a string in it is not UTF-8.
std::string write(const Value& value);

/// The member of an object; null when it is absent, is JSON's null, or `object` is none.
const Value* findMember(const Value& object, std::string_view name) noexcept;

/// A member that has to be there and of that type, else BadDataException naming it.
std::string stringMember(const Value& object, std::string_view name);
std::string_view stringView(const Value& object, std::string_view name);  ///< while `object` lives
std::int64_t integerMember(const Value& object, std::string_view name);

/// Writes an object of strings to an output stream of RapidJSON. Throws BadDataException for a text
/// that is not UTF-8.
template <typename Stream>
void writePairs(Stream& stream,
                std::initializer_list<std::pair<std::string_view, std::string_view>> pairs) {
  rapidjson::Writer<Stream, rapidjson::UTF8<>, rapidjson::UTF8<>, WipingAllocator,
                    rapidjson::kWriteValidateEncodingFlag>
      writer(stream);
  bool valid = writer.StartObject();
  for (const auto& [name, value] : pairs) {
    valid = valid && writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())) &&
            writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
  }
  if (!valid || !writer.EndObject()) throw BadDataException("Text for JSON is not UTF-8");
}

/// A copy of `text` as a value.
Value makeString(std::string_view text, Allocator& memory);

}  // namespace tolk::json
