// Directory objects on the daemon channel: {"dn": ..., "attributes": [{"name": ..., "values":
// [{"text": ...} or
// {"base64": ...}]}]}.
#pragma once

#include <string>
#include <string_view>

#include "tolk/base/json.h"
#include "tolk/ldap/ad_object.h"

namespace tolk {

/// The object as a JSON value. A value that is UTF-8 goes as text, any other as base64.
json::Value objectToJson(const ADObject& object, json::Allocator& memory);

/// The object in a JSON value. Throws BadDataException for another shape, or for base64 that is
/// none.
ADObject objectFromJson(const json::Value& value);

/// Base64 with padding (RFC 4648, 4). Decoding throws BadDataException for characters outside the
/// alphabet, a wrong length or misplaced padding.
std::string base64Encode(std::string_view bytes);
std::string base64Decode(std::string_view text);

}  // namespace tolk
