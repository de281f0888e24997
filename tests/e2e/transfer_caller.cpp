// Drives transfer objects from the lines of standard input, for tests on a host of the lab:
//
//   on NAME                               goes on with that transfer object; makes it at its first
//   mention proxy SERVER TYPE USER PASSWORD       takes a web proxy; "-" stands for an empty text
//   server PRINCIPAL HOST:PORT USER       logs on to the web server itself
//   checks                                checks certificates as for the site check
//   pin                                   checks them as for the platform
//   trust FILE                            trusts these authorities
//   header NAME VALUE                     sends that header from now on
//   say WORD                              says it on standard error
//   await FILE                            waits until there is that file, a minute at most
//   reset                                 takes proxy and credentials away
//   get URL, post URL TEXT                one request: "STATUS LENGTH", or "failed CODE: MESSAGE"
//   both NAME NAME URL                    both objects get at the same time
//   site URL PRINCIPAL                    a site check: "site FAULT result"
//
// LOG is the file for its records.
#include <unistd.h>

#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "cloud/http/certificate_check.h"
#include "cloud/http/curl_object.h"
#include "cloud/signon/iwa_site_check.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/profile_overlay.h"

namespace {

using tolk::CurlObject;

constexpr tolk::CloudLog kLog{"transfer.caller"};

class Session {
 public:
  void run(const std::string& line) {
    std::istringstream words(line);
    std::string verb, a, b, c, d;
    words >> verb >> a >> b >> c >> d;
    if (verb == "on") {
      current_ = &object(a);
    } else if (verb == "proxy") {
      current_->setProxy(plain(a), plain(b), plain(c), tolk::Shredder(plain(d)));
    } else if (verb == "server") {
      current_->setServerNegotiate(a, b, c);
    } else if (verb == "checks") {
      tolk::checkSiteCertificate(*current_);
    } else if (verb == "pin") {
      tolk::checkPlatformCertificate(*current_, kLog);
    } else if (verb == "trust") {
      current_->setOption(CURLOPT_CAINFO, a);
    } else if (verb == "header") {
      current_->addHeader(a, b);
    } else if (verb == "say") {
      std::cerr << a << std::endl;
    } else if (verb == "await") {
      constexpr int kTries = 6000;
      for (int i = 0; i < kTries && ::access(a.c_str(), F_OK) != 0; ++i) ::usleep(10000);
    } else if (verb == "reset") {
      current_->reset(true);
    } else if (verb == "get") {
      std::cout << request(*current_, a, "", false) << std::endl;
    } else if (verb == "post") {
      std::cout << request(*current_, a, b, true) << std::endl;
    } else if (verb == "both") {
      both(object(a), object(b), c);
    } else if (verb == "site") {
      site({.url = a, .principal = b});
    } else {
      std::cout << "unknown: " << line << std::endl;
    }
  }

 private:
  static std::string plain(const std::string& word) { return word == "-" ? "" : word; }

  CurlObject& object(const std::string& name) {
    auto& slot = objects_[name];
    if (!slot) slot = std::make_unique<CurlObject>();
    return *slot;
  }

  static std::string request(CurlObject& object, const std::string& url, const std::string& body,
                             bool isPost) {
    try {
      object.makeRequest(url, body, isPost);
      return std::to_string(object.responseCode()) + " " +
             std::to_string(object.responseBody().size());
    } catch (const tolk::Base_Exception& e) {
      return "failed " + std::to_string(e.code()) + ": " + e.what();
    }
  }

  static void both(CurlObject& first, CurlObject& second, const std::string& url) {
    std::string answer;
    std::thread other([&] { answer = request(second, url, "", false); });
    std::cout << request(first, url, "", false) << std::endl;
    other.join();
    std::cout << answer << std::endl;
  }

  void site(const tolk::IwaAddress& address) {
    try {
      tolk::PlatformWay way{.platform = {}, .siteCheck = address};
      const tolk::SiteCheckResult check = tolk::checkSite(*current_, way, kLog);
      std::cout << "site " << static_cast<int>(check.fault) << ' ' << check.result << std::endl;
    } catch (const tolk::Base_Exception& e) {
      std::cout << "failed " << e.code() << ": " << e.what() << std::endl;
    }
  }

  std::map<std::string, std::unique_ptr<CurlObject>> objects_;
  CurlObject* current_ = &object("first");
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 7;
  tolk::openLog(tolk::LogSink::file, argv[1]);
  tolk::Props().set(tolk::PN::CLOUD_ALLOW_HTTP, "true");  // the proxies' log tells who asked
  const tolk::GssConfigOverlay overlay{std::list<std::string>{}};
  Session session;
  for (std::string line; std::getline(std::cin, line);) session.run(line);
}
