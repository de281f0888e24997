// Text inside of URLs.
#pragma once

#include <string>
#include <string_view>

namespace tolk {

/// Writes `text` with all but the unreserved characters percent-encoded (RFC 3986, 2.1) to `out`,
/// which has room for three times its length; returns the end. For secrets.
char* percentEncode(std::string_view text, char* out) noexcept;
[[nodiscard]] std::string percentEncoded(std::string_view text);

/// "host:port", or "host", of a URL (RFC 3986, 3.2), without a user; "" when there is none.
[[nodiscard]] std::string serverOfUrl(std::string_view url);
/// The host part of it in lower case.
[[nodiscard]] std::string hostOfUrl(std::string_view url);

}  // namespace tolk
