// What libcurl calls back, its memory included. Nothing is thrown through it: the handle would be
// broken for good.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_log.h"
#include "cloud/http/curl_object.h"
#include "tolk/base/text.h"
#include "tolk/base/wiping_memory.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"curl.object"};

/// Whether a header line carries what proves a user.
bool isSecret(std::string_view line) {
  constexpr std::array<std::string_view, 6> kSecret{
      "authorization:", "proxy-authorization:", "cookie:",
      "set-cookie:",    "www-authenticate: n",  "proxy-authenticate: n"};
  return std::ranges::any_of(kSecret, [line](std::string_view name) {
    return equalsIgnoringCase(line.substr(0, name.size()), name);
  });
}

/// Whether a line may have a header, a cookie or a one-time code in its midst.
bool mayRepeatSecret(std::string_view text) {
  constexpr std::array<std::string_view, 4> kSigns{"ookie", "h2h3", "HTTP/2", "OneTimePass"};
  return std::ranges::any_of(
      kSigns, [text](std::string_view sign) { return text.find(sign) != std::string_view::npos; });
}

}  // namespace

void startCurl() {
  static const CURLcode result = curl_global_init_mem(CURL_GLOBAL_DEFAULT, std::malloc, wipeAndFree,
                                                      wipingRealloc, ::strdup, std::calloc);
  if (result != CURLE_OK) throw CurlException("Failed to create curl context", result);
}

std::size_t CurlObject::ReadMemoryCallback(char* out, std::size_t size, std::size_t count,
                                           void* object) noexcept {
  auto& self = *static_cast<CurlObject*>(object);
  const std::size_t length = std::min(size * count, self.requestBody_.size() - self.readPosition_);
  if (length != 0) std::memcpy(out, self.requestBody_.data() + self.readPosition_, length);
  self.readPosition_ += length;
  return length;
}

int CurlObject::SeekMemoryCallback(void* object, curl_off_t offset, int origin) noexcept {
  auto& self = *static_cast<CurlObject*>(object);
  if (origin != SEEK_SET || offset < 0 ||
      static_cast<std::size_t>(offset) > self.requestBody_.size()) {
    return CURL_SEEKFUNC_CANTSEEK;
  }
  self.readPosition_ = static_cast<std::size_t>(offset);
  return CURL_SEEKFUNC_OK;
}

std::size_t CurlObject::WriteMemoryCallback(char* data, std::size_t size, std::size_t count,
                                            void* object) noexcept {
  auto& self = *static_cast<CurlObject*>(object);
  const std::size_t length = size * count;
  try {
    if (length > kMaxBodyBytes - self.response_.size()) {
      throw CurlException("The response is larger than 1 MiB", CURLE_FILESIZE_EXCEEDED);
    }
    self.response_.append(data, length);
    return length;
  } catch (const CurlException&) {
    self.callbackFailure_ = std::current_exception();
  } catch (const std::exception&) {
    self.callbackFailure_ = std::make_exception_ptr(
        CurlException("Not enough memory for curl write buffer", CURLE_OUT_OF_MEMORY));
  }
  return length + 1;  // any other number than the length ends the transfer
}

std::size_t CurlObject::HeaderCallBack(char* line, std::size_t size, std::size_t count,
                                       void* object) noexcept {
  const std::size_t length = size * count;
  if (line == nullptr || object == nullptr || length > kMaxHeaderLine) return length;
  auto& self = *static_cast<CurlObject*>(object);
  if (length > kMaxHeaderBytes - self.responseHeaderBytes_) return length;
  try {
    self.responseHeaders_.emplace_back(line, length);
    self.responseHeaderBytes_ += length;
  } catch (const std::exception&) {
    // A line less; the transfer goes on.
  }
  return length;
}

int CurlObject::CurlDebugCallBack(CURL* /*handle*/, curl_infotype kind, char* data,
                                  std::size_t size, void* /*object*/) noexcept {
  if (kind != CURLINFO_TEXT && kind != CURLINFO_HEADER_IN && kind != CURLINFO_HEADER_OUT) return 0;
  try {
    for (const std::string& piece : split(std::string_view(data, size), '\n')) {
      const std::string_view line = trim(piece);
      if (line.empty()) continue;
      if (kind != CURLINFO_TEXT && isSecret(line)) {
        kLog(LogLevel::trace, "%s (hidden)", {std::string(line.substr(0, line.find(':') + 1))});
      } else if (!mayRepeatSecret(line)) {
        kLog(LogLevel::trace, "%s", {std::string(line)});
      }
    }
  } catch (const std::exception&) {
    // A record less.
  }
  return 0;
}

}  // namespace tolk
