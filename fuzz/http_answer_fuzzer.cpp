// The answer of a web server: status, headers, cookies and body as a transfer takes them, and what
// is done with a cookie afterwards.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_object.h"
#include "cloud/http/curl_object.h"
#include "cloud/http/url_text.h"
#include "fuzz/loopback_answer.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* const server = new joinscope::fuzz::LoopbackAnswer;
  tolk::Props().set(tolk::PN::CLOUD_ALLOW_HTTP, "true");
  const std::string answer(reinterpret_cast<const char*>(data), size);
  (void)tolk::hostOfUrl(answer);
  server->set(answer);
  const std::string port = std::to_string(ntohs(server->address().sin_port));
  try {
    tolk::CurlObject curl;
    curl.makeRequest("http://127.0.0.1:" + port + "/", "", false);
    curl.setCookie(std::string(tolk::CLOUD_AUTH_COOKIE) + "=mine;");
    const std::string held = curl.getCookie(tolk::CLOUD_AUTH_COOKIE);
    if (!held.empty() && held != "mine") std::abort();
    tolk::CurlObject other;
    other.addCookies(curl.cookies());
    if (curl.responseBody().size() > size) std::abort();
  } catch (const tolk::CurlException&) {
  }
  return 0;
}
