// JSON text in and out: the one header that includes RapidJSON, so that its settings are the same
// everywhere. The defaults of that library crash on hostile input: its parser recurses, and a wrong
// type is an assertion.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tolk::json {
/// Throws BadDataException: a value was used as what it is not.
[[noreturn]] void throwWrongUse(const char* condition);
}  // namespace tolk::json

#define RAPIDJSON_ASSERT(x) \
  (static_cast<bool>(x) ? static_cast<void>(0) : ::tolk::json::throwWrongUse(#x))
#define RAPIDJSON_HAS_STDSTRING 1
#include <rapidjson/document.h>

namespace tolk::json {

using Document = rapidjson::Document;
using Value = rapidjson::Value;
using Allocator = Document::AllocatorType;

inline constexpr unsigned kMaxDepth = 32;

/// One JSON value (RFC 8259) and nothing behind it. Iterative; objects and arrays nested deeper
/// than `maxDepth`, a NUL byte and text that is not UTF-8 are refused while parsing. Throws
/// BadDataException with the place of the fault. Of several members of one name the first counts.
Document parse(std::string_view text, unsigned maxDepth = kMaxDepth);

/// The text of a value, without blanks. Throws BadDataException when a string in it is not UTF-8.
std::string write(const Value& value);

/// The member of an object; null when it is absent, is JSON's null, or `object` is none.
const Value* findMember(const Value& object, std::string_view name) noexcept;

/// A member that has to be there and of that type, else BadDataException naming it.
std::string stringMember(const Value& object, std::string_view name);
std::int64_t integerMember(const Value& object, std::string_view name);

/// A copy of `text` as a value.
Value makeString(std::string_view text, Allocator& memory);

}  // namespace tolk::json
