// Text inside of URLs.
#include "cloud/http/url_text.h"

#include "tolk/base/text.h"

namespace tolk {
namespace {

bool isUnreserved(char c) {  // RFC 3986, 2.3
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

}  // namespace

char* percentEncode(std::string_view text, char* out) noexcept {
  constexpr const char* kHex = "0123456789ABCDEF";
  constexpr unsigned kNibble = 4;
  constexpr unsigned kLowNibble = 15;
  for (const char c : text) {
    if (isUnreserved(c)) {
      *out++ = c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    *out++ = '%';
    *out++ = kHex[byte >> kNibble];
    *out++ = kHex[byte & kLowNibble];
  }
  return out;
}

std::string percentEncoded(std::string_view text) {
  constexpr std::size_t kEncodedLength = 3;
  std::string encoded(kEncodedLength * text.size(), '\0');
  encoded.resize(static_cast<std::size_t>(percentEncode(text, encoded.data()) - encoded.data()));
  return encoded;
}

std::string serverOfUrl(std::string_view url) {
  const std::size_t scheme = url.find("://");
  if (scheme != std::string_view::npos) url.remove_prefix(scheme + 3);
  const std::string_view authority = url.substr(0, url.find_first_of("/?#"));
  return std::string(authority.substr(authority.rfind('@') + 1));
}

std::string hostOfUrl(std::string_view url) {
  const std::string server = serverOfUrl(url);
  return toLower(server.substr(0, server.find(':')));
}

}  // namespace tolk
