// The cloud platform's REST side for tests: an HTTP(S) server that judges every request strictly,
// writes it down, and plays the answers of a script.
//
// A script is a JSON object:
//   "client"   whom to expect: "orb", "v0", "v1" or "v1s"
//   "cookieUses"  requests that a cookie is good for; those that follow get 401. No limit when it
//   is
//              left out
//   "answers"  an object: path -> array of answers, played in order. Each is an object with
//                "status"    200 when left out
//                "headers"   an object of strings; "Set-Cookie" may be an array of strings,
//                            and "%n" in it is the number of the request, so that no two are alike
//                "json"      the body as a JSON value, or
//                "text"      the body as it stands
//                "padBytes"  so many blanks behind the body
//                "delayMs"   how long the answer is held back
//                "repeat"    true: is played for ever
// A request that breaks a rule is answered with 400 and takes no answer from the list; where no
// answer is left it is 500. Both are faults of the record.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace joinscope::test {

/// Where the server listens, and what it keeps.
struct PlatformSettings {
  std::string address = "127.0.0.1";
  int port = 0;             ///< any free one when 0
  std::string certificate;  ///< PEM file; plain HTTP without one
  std::string key;          ///< PEM file
  std::string record;       ///< a file that gets each record as one line; none when empty
};

/// Serves from construction to destruction, on threads of its own.
class PlatformServer {
 public:
  /// Throws tolk::BadDataException for a script that is not as above, std::runtime_error when it
  /// cannot listen or read the certificate.
  PlatformServer(const PlatformSettings& settings, std::string_view script);
  PlatformServer(const PlatformServer&) = delete;
  PlatformServer& operator=(const PlatformServer&) = delete;
  ~PlatformServer();

  [[nodiscard]] int port() const;

  /// What has come so far, a JSON object each: "method", "path", "query", "host", "cookie" (the
  /// value of .ASPXAUTH or ""), "headers" (an object, names in lower case, of the last value),
  /// "body" (as text), "status" (of the answer), "faults" (an array of strings; empty when the
  /// request is as it must be).
  [[nodiscard]] std::vector<std::string> records() const;
  /// The faults of all requests so far, each with its path in front.
  [[nodiscard]] std::vector<std::string> faults() const;

 private:
  class Service;
  std::unique_ptr<Service> service_;
};

}  // namespace joinscope::test
