// What libcurl calls back. Nothing is thrown through it: the handle would be broken for good.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "cloud/cloud_exceptions.h"
#include "cloud/cloud_log.h"
#include "cloud/curl_object.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"curl.object"};

/// Whether a header line carries what proves a user.
bool isSecret(std::string_view line) {
  constexpr std::array<std::string_view, 5> kSecret{
      "authorization:", "proxy-authorization:", "cookie:", "set-cookie:", "proxy-authenticate: n"};
  return std::ranges::any_of(kSecret, [line](std::string_view name) {
    return equalsIgnoringCase(line.substr(0, name.size()), name);
  });
}

}  // namespace

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
      throw CurlException("The response is larger than 64 MiB", CURLE_FILESIZE_EXCEEDED);
    }
    self.response_.append(data, length);
    return length;
  } catch (const std::bad_alloc&) {
    self.callbackFailure_ = std::make_exception_ptr(
        CurlException("Not enough memory for curl write buffer", CURLE_OUT_OF_MEMORY));
  } catch (...) {
    self.callbackFailure_ = std::current_exception();
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
      const std::string shown(isSecret(line) ? line.substr(0, line.find(':') + 1) : line);
      kLog(LogLevel::trace, "%s", {isSecret(line) ? shown + " (hidden)" : shown});
    }
  } catch (const std::exception&) {
    // A record less.
  }
  return 0;
}

}  // namespace tolk
