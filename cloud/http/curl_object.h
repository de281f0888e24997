// One HTTP transfer at a time over libcurl's easy interface, with the cookies, the web proxy and
// the Kerberos credentials that go with it.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "cloud/http/curl_gsssetup.h"
#include "tolk/base/shredder.h"

namespace tolk {

/// Options that the stock library does not know: they are recorded, and what they stand for is done
/// before each transfer (gss_krb5_ccache_name(), a service ticket under the name that GSS-API asks
/// for).
struct CurlGssOption {
  static constexpr CURLoption servicePrincipal = static_cast<CURLoption>(10035);
  static constexpr CURLoption credentialCache = static_cast<CURLoption>(10055);
  static constexpr CURLoption setupFunction = static_cast<CURLoption>(20066);
  static constexpr CURLoption setupData = static_cast<CURLoption>(10067);
};

/// Starts libcurl once for the process, with memory that is zeroed before it is given back: the
/// library keeps copies of proxy passwords and cookies. Throws CurlException.
void startCurl();

/// For one thread at a time; reused for many requests. A transfer ends after
/// PN::CLOUD_CURL_TIMEOUT, its connection is made within PN::CLOUD_CONNECT_TIMEOUT; a response body
/// may have 1 MiB. Every failure of libcurl is a CurlException with its CURLcode, a
/// CurlUnreachableException where the proxy, or the server without one, never said a word. Nothing
/// but https is spoken, unless PN::CLOUD_ALLOW_HTTP said so when the object was made.
class CurlObject {
 public:
  static constexpr std::size_t kMaxHeaderLine = 102400;
  static constexpr std::size_t kMaxHeaderBytes = std::size_t{1} << 20;
  static constexpr std::size_t kMaxBodyBytes = std::size_t{1} << 20;

  CurlObject();
  CurlObject(const CurlObject&) = delete;
  CurlObject& operator=(const CurlObject&) = delete;
  ~CurlObject();

  void setOption(CURLoption option, const std::string& value);
  void setOption(CURLoption option, long value);
  void setOption(CURLoption option, void* value);
  /// Sets a recorded option back to 0 or null; one that is not recorded is left alone.
  void clearOption(CURLoption option);
  [[nodiscard]] bool isSet(CURLoption option) const { return options_.contains(option); }

  /// Sets or replaces a request header.
  void addHeader(const std::string& name, const std::string& value);
  /// The value of a cookie that the handle holds; "" when there is none.
  [[nodiscard]] std::string getCookie(const std::string& name) const;
  /// Has "name=value;" sent with the requests that follow. Where the handle holds a cookie
  /// ".ASPXAUTH" of its own, that one gets the value instead, so that it is sent once.
  void setCookie(const std::string& text);

  /// The cookies that the handle holds, for addCookies() of another one. They are secrets.
  [[nodiscard]] std::vector<std::string> cookies() const;
  void addCookies(const std::vector<std::string>& cookies);

  /// Takes this web proxy from now on; an empty server takes none. `authType` is a word of
  /// proxyAuthMask(), any other means all ways but the weakest; "" a proxy that asks for no user.
  void setProxy(const std::string& server, const std::string& authType, const std::string& user,
                const Shredder& password);
  /// Logs on to the web server `server` ("host:port") itself, as `user`, by SPNEGO, under its
  /// Kerberos name `principal`. Until reset().
  void setServerNegotiate(const std::string& principal, const std::string& server,
                          const std::string& user);
  /// Takes proxy and credentials away. With `keep` the Kerberos context stays for the next user of
  /// the object; without it the next one reads the Kerberos configuration anew.
  void reset(bool keep);
  /// Forgets the cookies that were received or set.
  void clearCookies();
  /// The same, and the last request and its answer.
  void forgetUser();

  /// Performs one request; true once there is an answer of any status. A 407 that offers Negotiate
  /// gets new credentials and one more try. Throws CurlException.
  bool makeRequest(const std::string& url, std::string_view body, bool isPost);

  /// HTTP status of the last transfer; 407 also when the proxy refused a tunnel.
  [[nodiscard]] long responseCode() const noexcept { return responseCode_; }
  /// The last response body; a NUL follows it.
  [[nodiscard]] const std::string& responseBody() const noexcept { return response_; }
  /// Each header line as it was received.
  [[nodiscard]] const std::vector<std::string>& responseHeaders() const noexcept {
    return responseHeaders_;
  }
  [[nodiscard]] CURL* handle() const noexcept { return handle_.get(); }

  /// Callbacks as libcurl calls them; `object` is the CurlObject. What they throw is kept and
  /// thrown by makeRequest(), never through libcurl.
  static std::size_t ReadMemoryCallback(char* out, std::size_t size, std::size_t count,
                                        void* object) noexcept;
  static std::size_t WriteMemoryCallback(char* data, std::size_t size, std::size_t count,
                                         void* object) noexcept;
  static std::size_t HeaderCallBack(char* line, std::size_t size, std::size_t count,
                                    void* object) noexcept;
  static int CurlDebugCallBack(CURL* handle, curl_infotype kind, char* data, std::size_t size,
                               void* object) noexcept;

 private:
  struct HandleEnd {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
  };
  struct ListEnd {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
  };
  using List = std::unique_ptr<curl_slist, ListEnd>;
  using OptionValue = std::variant<std::string, long, void*>;

  void setLimits();
  /// Sets an option and records nothing.
  void apply(CURLoption option, const char* value);
  [[nodiscard]] List cookieList() const;
  [[nodiscard]] long maskOf(CURLoption option) const;
  static int SeekMemoryCallback(void* object, curl_off_t offset, int origin) noexcept;

  void setUserAndPassword(const std::string& user, const Shredder& password);
  void handCredentials(const std::string& server);
  void clearCredentialOptions();
  void refusePlainHttp(const std::string& url) const;
  void prepare(const std::string& url, std::string_view body, bool isPost);
  void sendHeaders();
  void setReuse();
  CURLcode perform();
  void finish(CURLcode result);
  [[nodiscard]] bool isUnreached(CURLcode result) const;
  [[nodiscard]] long tunnelCode() const;
  [[nodiscard]] bool prepareRepeat();
  [[nodiscard]] bool checkUserName(long offered) const;

  const bool allowsHttp_;
  std::unique_ptr<CURL, HandleEnd> handle_;
  std::map<CURLoption, OptionValue> options_;
  std::map<std::string, std::string> headers_;
  bool headersChanged_ = true;  ///< since headerList_ was made of them
  std::vector<std::string> responseHeaders_;
  std::size_t responseHeaderBytes_ = 0;
  std::string_view requestBody_;
  std::size_t readPosition_ = 0;
  std::string response_;
  List headerList_;
  long responseCode_ = 0;
  std::exception_ptr callbackFailure_;
  CurlProxyNegotiateHelper negotiate_;
  std::string server_, user_;
};

}  // namespace tolk
