// Text inside of URLs.
#pragma once

#include <string>
#include <string_view>

namespace tolk {

/// Writes `text` with all but the unreserved characters percent-encoded (RFC 3986, 2.1) to `out`,
/// which has room for three times its length; returns the end. For secrets.
char* percentEncode(std::string_view text, char* out) noexcept;
[[nodiscard]] std::string percentEncoded(std::string_view text);

}  // namespace tolk
