// One HTTP transfer at a time over libcurl's easy interface.
#include "cloud/http/curl_object.h"

#include <algorithm>
#include <utility>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_log.h"
#include "cloud/http/http_proxy.h"
#include "cloud/http/proxy_auth.h"
#include "cloud/http/url_text.h"
#include "tolk/base/locked_memory.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"curl.object"};
constexpr long kDefaultTimeoutSeconds = 30;
constexpr long kOtherWays = ProxyAuthMask::basic | ProxyAuthMask::digest | ProxyAuthMask::ntlm;
constexpr long kProxyAuthRequired = 407;  // RFC 9110, 15.5.8

static_assert(ProxyAuthMask::basic == CURLAUTH_BASIC && ProxyAuthMask::digest == CURLAUTH_DIGEST &&
              ProxyAuthMask::negotiate == CURLAUTH_NEGOTIATE &&
              ProxyAuthMask::ntlm == CURLAUTH_NTLM &&
              ProxyAuthMask::any == static_cast<long>(CURLAUTH_ANY));

std::string failureText(CURLcode code, const char* what) {
  return formatText("curl error occurred in %s: %s (%d)",
                    {what, curl_easy_strerror(code), std::to_string(code)});
}

void throwIfCurl(CURLcode code, const char* what) {
  if (code != CURLE_OK) throw CurlException(failureText(code, what), code);
}

bool isRecordedOnly(CURLoption option) {
  return option == CurlGssOption::servicePrincipal || option == CurlGssOption::credentialCache ||
         option == CurlGssOption::setupFunction || option == CurlGssOption::setupData;
}

/// A URL without the secret in it: a one-time code signs the machine on.
std::string shown(const std::string& url) {
  constexpr std::string_view kCode = "?OneTimePass=";
  const std::size_t code = url.find(kCode);
  return code == std::string::npos ? url : url.substr(0, code + kCode.size()) + "(hidden)";
}

std::string hostOf(const std::string& server) {
  return server.substr(0, server.find(':'));
}

}  // namespace

CurlObject::CurlObject() : allowsHttp_(Props().getBool(PN::CLOUD_ALLOW_HTTP)) {
  startCurl();
  handle_.reset(curl_easy_init());
  if (!handle_) throw CurlException("Failed to create curl context", CURLE_FAILED_INIT);
  setOption(CURLOPT_COOKIEFILE, std::string());
  setOption(CURLOPT_NOSIGNAL, 1L);
  setOption(CURLOPT_SSL_VERIFYPEER, 1L);
  setOption(CURLOPT_SSL_VERIFYHOST, 2L);
  setLimits();
  const std::string protocols = allowsHttp_ ? "http,https" : "https";
  setOption(CURLOPT_PROTOCOLS_STR, protocols);
  setOption(CURLOPT_REDIR_PROTOCOLS_STR, protocols);
  // Without one in so many words libcurl takes a proxy from the environment.
  setOption(CURLOPT_PROXY, std::string());
  setOption(CURLOPT_NOPROXY, std::string());
  if (!Logger::enabled(LogLevel::trace)) return;
  setOption(CURLOPT_VERBOSE, 1L);
  setOption(CURLOPT_DEBUGFUNCTION, reinterpret_cast<void*>(&CurlDebugCallBack));
}

CurlObject::~CurlObject() = default;

void CurlObject::setLimits() {
  constexpr long kMostSeconds = 24L * 60 * 60;
  long timeout = Props().getTime(PN::CLOUD_CURL_TIMEOUT, 's', kDefaultTimeoutSeconds);
  // To libcurl 0 is no limit at all.
  timeout = timeout > 0 ? std::min(timeout, kMostSeconds) : kDefaultTimeoutSeconds;
  setOption(CURLOPT_TIMEOUT, timeout);
  kLog.debug("Setup CURL timeout as:%ds", {std::to_string(timeout)});
  setOption(CURLOPT_CONNECTTIMEOUT_MS,
            static_cast<long>(Props().getLimitMs(PN::CLOUD_CONNECT_TIMEOUT)));
}

void CurlObject::apply(CURLoption option, const char* value) {
  if (isRecordedOnly(option)) return;
  throwIfCurl(curl_easy_setopt(handle_.get(), option, value), "curl_easy_setopt");
}

void CurlObject::setOption(CURLoption option, const std::string& value) {
  apply(option, value.c_str());
  options_[option] = value;
}

void CurlObject::setOption(CURLoption option, long value) {
  throwIfCurl(curl_easy_setopt(handle_.get(), option, value), "curl_easy_setopt");
  options_[option] = value;
}

void CurlObject::setOption(CURLoption option, void* value) {
  if (!isRecordedOnly(option)) {
    throwIfCurl(curl_easy_setopt(handle_.get(), option, value), "curl_easy_setopt");
  }
  options_[option] = value;
}

void CurlObject::clearOption(CURLoption option) {
  if (options_.erase(option) == 0 || isRecordedOnly(option)) return;
  CURLcode code = CURLE_OK;
  if (option == CURLOPT_PROXY) {
    code = curl_easy_setopt(handle_.get(), option, "");  // none, the environment's neither
  } else if (option < CURLOPTTYPE_OBJECTPOINT) {
    code = curl_easy_setopt(handle_.get(), option, 0L);
  } else {
    code = curl_easy_setopt(handle_.get(), option, nullptr);
  }
  throwIfCurl(code, "curl_easy_setopt to clear option");
}

void CurlObject::addHeader(const std::string& name, const std::string& value) {
  const auto [place, isNew] = headers_.try_emplace(name, value);
  if (!isNew && place->second == value) return;
  place->second = value;
  headersChanged_ = true;
}

long CurlObject::maskOf(CURLoption option) const {
  const auto found = options_.find(option);
  if (found == options_.end()) return 0;
  const long* mask = std::get_if<long>(&found->second);
  return mask == nullptr ? 0 : *mask;
}

// The library splits at the first ":" and decodes both halves, so both are encoded.
void CurlObject::setUserAndPassword(const std::string& user, const Shredder& password) {
  constexpr std::size_t kEncodedLength = 3;  // of one character
  const LockedMemory both(kEncodedLength * (user.size() + password.size()) + 2);
  char* end = percentEncode(user, both.data());
  *end++ = ':';
  end = percentEncode(password.view(), end);
  *end = '\0';
  apply(CURLOPT_PROXYUSERPWD, both.data());
  options_[CURLOPT_PROXYUSERPWD] = std::string();  // the value is a secret
}

void CurlObject::setProxy(const std::string& server, const std::string& authType,
                          const std::string& user, const Shredder& password) {
  reset(false);
  server_ = server;
  user_ = user;
  if (server.empty()) return;
  setOption(CURLOPT_PROXY, server);
  if (authType.empty()) {
    setOption(CURLOPT_HTTPPROXYTUNNEL, 1L);
    return;
  }
  const long mask = proxyAuthMask(toLower(authType)).value_or(ProxyAuthMask::any);
  setOption(CURLOPT_PROXYAUTH, mask);
  setUserAndPassword(user, password);
  negotiate_.setPeer(server, user, password);
  const std::string service = "HTTP/" + hostOf(server);
  // Only Kerberos needs the canonical name: without it the directory is not asked.
  std::string principal;
  if ((mask & ProxyAuthMask::negotiate) != 0) principal = negotiate_.canonicalPrincipal(service);
  setOption(CurlGssOption::servicePrincipal, principal.empty() ? service : principal);
  if (mask == ProxyAuthMask::negotiate && negotiate_.initKrb5CCache()) handCredentials(server);
}

void CurlObject::setServerNegotiate(const std::string& principal, const std::string& server,
                                    const std::string& user) {
  reset(true);
  negotiate_.setPeer(server, user, Shredder());
  setOption(CurlGssOption::servicePrincipal,
            principal.empty() ? "HTTP/" + hostOf(server) : principal);
  setOption(CURLOPT_HTTPAUTH, ProxyAuthMask::negotiate);
  // No user and no password: the library then takes the Kerberos credentials.
  setOption(CURLOPT_USERPWD, std::string(":"));
  if (negotiate_.initKrb5CCache()) handCredentials(server);
}

void CurlObject::handCredentials(const std::string& server) {
  negotiate_.initGSSCredential();
  const auto& principal = std::get<std::string>(options_.at(CurlGssOption::servicePrincipal));
  setOption(CurlGssOption::credentialCache, negotiate_.ccacheName());
  setOption(CurlGssOption::setupFunction, reinterpret_cast<void*>(&CurlGsssetupCallback));
  setOption(CurlGssOption::setupData,
            static_cast<void*>(negotiate_.setupData(principal, toLower(hostOf(server)))));
}

void CurlObject::clearCredentialOptions() {
  clearOption(CurlGssOption::credentialCache);
  clearOption(CurlGssOption::setupFunction);
  clearOption(CurlGssOption::setupData);
}

void CurlObject::reset(bool keep) {
  clearOption(CURLOPT_PROXY);
  clearOption(CURLOPT_PROXYAUTH);
  clearOption(CURLOPT_PROXYUSERPWD);
  setOption(CURLOPT_HTTPPROXYTUNNEL, 0L);
  clearOption(CurlGssOption::servicePrincipal);
  clearCredentialOptions();
  clearOption(CURLOPT_HTTPAUTH);
  clearOption(CURLOPT_USERPWD);
  negotiate_.clearGSSCredential();
  negotiate_.setPeer({}, {}, Shredder());
  if (!keep) negotiate_.forgetContext();
  server_.clear();
  user_.clear();
}

void CurlObject::forgetUser() {
  clearCookies();
  clearOption(CURLOPT_URL);
  responseHeaders_ = {};
  response_ = {};
}

void CurlObject::clearCookies() {
  clearOption(CURLOPT_COOKIE);
  apply(CURLOPT_COOKIELIST, "ALL");
}

// The certificate is all that tells the platform from anybody on the way.
void CurlObject::refusePlainHttp(const std::string& url) const {
  constexpr std::string_view kSecure = "https://";
  if (allowsHttp_ || equalsIgnoringCase(url.substr(0, kSecure.size()), kSecure)) return;
  const std::string text = "The address '" + printable(shown(url)) +
                           "' does not begin with https://, and nothing is sent in clear";
  kLog.error("%s", {text});
  throw CurlException(text, CURLE_UNSUPPORTED_PROTOCOL);
}

bool CurlObject::makeRequest(const std::string& url, std::string_view body, bool isPost) {
  refusePlainHttp(url);
  prepare(url, body, isPost);
  finish(perform());
  if (responseCode_ == kProxyAuthRequired && isSet(CURLOPT_PROXYAUTH) && prepareRepeat()) {
    prepare(url, body, isPost);
    finish(perform());
  }
  requestBody_ = {};
  return true;
}

void CurlObject::prepare(const std::string& url, std::string_view body, bool isPost) {
  setOption(CURLOPT_POST, isPost ? 1L : 0L);
  responseHeaders_.clear();
  responseHeaderBytes_ = 0;
  response_.clear();
  responseCode_ = 0;
  callbackFailure_ = nullptr;
  setOption(CURLOPT_HEADERDATA, this);
  setOption(CURLOPT_HEADERFUNCTION, reinterpret_cast<void*>(&HeaderCallBack));
  requestBody_ = body;
  readPosition_ = 0;
  if (isPost) {
    addHeader("Content-Length", std::to_string(body.size()));
    kLog.debug("HTTP post URL = %s. with content: (hidden)", {url});
    setOption(CURLOPT_URL, url);
    setOption(CURLOPT_READFUNCTION, reinterpret_cast<void*>(&ReadMemoryCallback));
    setOption(CURLOPT_READDATA, this);
    // Without a size the library would send the body in chunks as well; a proxy that first says 407
    // has it sent twice.
    setOption(CURLOPT_SEEKFUNCTION, reinterpret_cast<void*>(&SeekMemoryCallback));
    setOption(CURLOPT_SEEKDATA, this);
    setOption(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
  } else {
    if (headers_.erase("Content-Length") != 0) headersChanged_ = true;
    kLog.debug("HTTP get URL = %s", {shown(url)});
    setOption(CURLOPT_URL, url);
  }
  setOption(CURLOPT_WRITEFUNCTION, reinterpret_cast<void*>(&WriteMemoryCallback));
  setOption(CURLOPT_WRITEDATA, this);
  sendHeaders();
  setReuse();
}

// The library keeps the list itself, no copy, so one serves until a header changes.
void CurlObject::sendHeaders() {
  List fresh;
  if (headersChanged_) {
    for (const auto& [name, value] : headers_) {
      std::string line = name;
      line.append(": ").append(value);
      curl_slist* longer = curl_slist_append(fresh.get(), line.c_str());
      throwIfCurl(longer == nullptr ? CURLE_OUT_OF_MEMORY : CURLE_OK, "curl_slist_append");
      (void)fresh.release();
      fresh.reset(longer);
    }
    fresh.swap(headerList_);
    headersChanged_ = false;
  }
  setOption(CURLOPT_HTTPHEADER, static_cast<void*>(headerList_.get()));
}

// NTLM and Negotiate log the connection on, not the request: nobody else may come to use it.
void CurlObject::setReuse() {
  const long masks = maskOf(CURLOPT_PROXYAUTH) | maskOf(CURLOPT_HTTPAUTH);
  const bool logsConnectionOn = (masks & (ProxyAuthMask::negotiate | ProxyAuthMask::ntlm)) != 0;
  setOption(CURLOPT_FORBID_REUSE, logsConnectionOn ? 1L : 0L);
}

CURLcode CurlObject::perform() {
  const long masks = maskOf(CURLOPT_PROXYAUTH) | maskOf(CURLOPT_HTTPAUTH);
  if ((masks & ProxyAuthMask::negotiate) == 0) return curl_easy_perform(handle_.get());
  const auto data = options_.find(CurlGssOption::setupData);
  if (data == options_.end()) {
    gssUseNoCCache();
  } else {
    (void)CurlGsssetupCallback(std::get<void*>(data->second));
  }
  const CURLcode result = curl_easy_perform(handle_.get());
  (void)gssUseCCache(nullptr);
  return result;
}

void CurlObject::finish(CURLcode result) {
  if (callbackFailure_) std::rethrow_exception(std::exchange(callbackFailure_, nullptr));
  // A tunnel that the proxy refuses is a failed transfer to the library, by one code or another,
  // and an answer to us.
  if (result != CURLE_OK && result != CURLE_OPERATION_TIMEDOUT &&
      tunnelCode() == kProxyAuthRequired && isSet(CURLOPT_PROXYAUTH)) {
    responseCode_ = kProxyAuthRequired;
    return;
  }
  if (isUnreached(result)) {
    throw CurlUnreachableException(failureText(result, "curl_easy_perform"), result);
  }
  throwIfCurl(result, "curl_easy_perform");
  throwIfCurl(curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &responseCode_),
              "curl_easy_getinfo");
}

/// What the proxy said to CONNECT; 0 when it said nothing, or was not asked.
long CurlObject::tunnelCode() const {
  long code = 0;
  (void)curl_easy_getinfo(handle_.get(), CURLINFO_HTTP_CONNECTCODE, &code);
  return code;
}

// A failure before the connection was made, with no word from the proxy: one that speaks answers
// for the server behind it. A connection that is used again counts as made from the start.
bool CurlObject::isUnreached(CURLcode result) const {
  curl_off_t made = 0;
  (void)curl_easy_getinfo(handle_.get(), CURLINFO_PRETRANSFER_TIME_T, &made);
  if (made != 0 || tunnelCode() != 0) return false;
  switch (result) {
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_OPERATION_TIMEDOUT:
      return true;
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      return !server_.empty();
    default:
      return false;
  }
}

// Whether the request is worth one more try: with new tickets, or without Kerberos where any other
// way would do. The library tries nothing else where Negotiate is offered, even without a ticket.
bool CurlObject::prepareRepeat() {
  long offered = 0;
  throwIfCurl(curl_easy_getinfo(handle_.get(), CURLINFO_PROXYAUTH_AVAIL, &offered),
              "curl_easy_getinfo");
  const bool goodName = checkUserName(offered);
  const long mask = maskOf(CURLOPT_PROXYAUTH);
  // A password for another way to log on is not tried at the KDC: each try may lock the account.
  if ((offered & mask & ProxyAuthMask::negotiate) == 0) return false;
  if (goodName && negotiate_.handleKrb5CCache(responseHeaders_)) {
    clearCredentialOptions();
    handCredentials(server_);
    return true;
  }
  if (mask != ProxyAuthMask::any || (offered & kOtherWays) == 0) return false;
  setOption(CURLOPT_PROXYAUTH, mask & ~ProxyAuthMask::negotiate);
  return true;
}

// Tells of a user name that cannot do for a way that the proxy offers; false when it cannot do for
// Negotiate.
bool CurlObject::checkUserName(long offered) const {
  const bool goodName = user_.find('\\') == std::string::npos;
  if ((offered & ProxyAuthMask::negotiate) != 0 && !goodName) {
    kLog.error(
        "The user name format \"%s\" for 'negotiate' auth type is incorrect. Please ensure the "
        "user name for 'negotiate' auth type is in the format of <username> or "
        "<username>@<domain>.",
        {user_});
  }
  if ((offered & ProxyAuthMask::ntlm) != 0 && user_.find('@') != std::string::npos) {
    kLog.error(
        "The user name format \"%s\" for 'ntlm' auth type is incorrect. Please ensure the user "
        "name for 'ntlm' auth type is in the format of <username>, <domain>\\\\<username> or "
        "<domain>/<username>.",
        {user_});
  }
  return goodName;
}

}  // namespace tolk
