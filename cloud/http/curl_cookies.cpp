// The cookies of a transfer object, in the seven fields of a Netscape cookie file
// (CURLINFO_COOKIELIST).
#include "cloud/http/cloud_object.h"
#include "cloud/http/curl_object.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr std::size_t kFields = 7;
constexpr std::size_t kNameField = 5;
constexpr std::size_t kValueField = 6;

}  // namespace

CurlObject::List CurlObject::cookieList() const {
  curl_slist* list = nullptr;
  (void)curl_easy_getinfo(handle_.get(), CURLINFO_COOKIELIST, &list);
  return List(list);
}

std::string CurlObject::getCookie(const std::string& name) const {
  const List cookies = cookieList();
  for (const curl_slist* line = cookies.get(); line != nullptr; line = line->next) {
    const std::vector<std::string> fields = split(line->data, '\t');
    if (fields.size() == kFields && fields[kNameField] == name) return fields[kValueField];
  }
  return {};
}

std::vector<std::string> CurlObject::cookies() const {
  std::vector<std::string> lines;
  const List list = cookieList();
  for (const curl_slist* line = list.get(); line != nullptr; line = line->next) {
    lines.emplace_back(line->data);
  }
  return lines;
}

void CurlObject::addCookies(const std::vector<std::string>& cookies) {
  for (const std::string& line : cookies) apply(CURLOPT_COOKIELIST, line.c_str());
}

void CurlObject::setCookie(const std::string& text) {
  const List cookies = cookieList();
  for (const curl_slist* line = cookies.get(); line != nullptr; line = line->next) {
    std::vector<std::string> fields = split(line->data, '\t');
    if (fields.size() != kFields || fields[kNameField] != CLOUD_AUTH_COOKIE) continue;
    const std::size_t start = text.find('=') + 1;
    fields[kValueField] = text.substr(start, text.find(';', start) - start);
    std::string rebuilt;
    for (const std::string& field : fields) rebuilt += rebuilt.empty() ? field : "\t" + field;
    clearOption(CURLOPT_COOKIE);
    // The same flag, domain, path and name: it takes the place of the one before.
    apply(CURLOPT_COOKIELIST, rebuilt.c_str());
    return;
  }
  apply(CURLOPT_COOKIE, text.c_str());
  options_[CURLOPT_COOKIE] = std::string();  // the value is a secret
}

}  // namespace tolk
