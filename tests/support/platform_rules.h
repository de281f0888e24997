// What the cloud platform demands of a request, path by path: a table that the test server holds
// each request against. A request that breaks a rule is a fault of the client. Some rules are our
// own guesses, which the client makes as well: those rows say so, and docs/cloud.md lists them.
// That a test passes them says that client and table agree, and nothing of a real platform.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace joinscope::test {

/// One request as it came over the wire.
struct PlatformRequest {
  std::string method;
  std::string path;   ///< relative to the platform's address, without "/" in front
  std::string query;  ///< what follows "?", as it was sent
  std::multimap<std::string, std::string> headers;  ///< the names in lower case
  std::string body;

  /// All values of the cookie ".ASPXAUTH".
  [[nodiscard]] std::vector<std::string> authCookies() const;
};

/// What the platform has handed out so far and wants to see again.
struct PlatformState {
  std::vector<std::string> machineCookies;  ///< by security/sso, the newest last
  std::vector<std::string> userCookies;     ///< by security/startimpersonate
  std::string sessionId, tenantId;          ///< of the last answer that named them in "Result"
  std::set<std::string> usedCodes;  ///< queries that security/sso has had: good for one time
  std::set<std::string> answered;   ///< bodies with an answer since that "Result"
};

/// The rules that `request` breaks, in words; none when it is as it must be. `client` says whom the
/// platform expects: "orb" (privilege events), "v0", "v1" or "v1s" (multi-factor authentication of
/// that version). Throws std::invalid_argument for any other.
std::vector<std::string> faultsOf(const std::string& client, const PlatformRequest& request,
                                  const PlatformState& state);

/// Whether a request for `path` has to come with a machine's or a user's cookie.
bool needsCookie(const std::string& path);

/// The value of the cookie ".ASPXAUTH" in a Set-Cookie value; "" when it sets another.
std::string authCookieOf(const std::string& setCookie);

}  // namespace joinscope::test
