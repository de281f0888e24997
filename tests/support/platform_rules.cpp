#include "tests/support/platform_rules.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <stdexcept>

#include "tolk/base/exceptions.h"
#include "tolk/base/json.h"

namespace joinscope::test {
namespace {

/// Asked for when a client only wants to know whether the platform answers.
constexpr char kVersionPath[] = "sysinfo/version";
constexpr std::string_view kAuthCookie = ".ASPXAUTH=";

enum class Cookie { any, none, machine, user };

/// One member of a request's JSON object. All are strings.
struct MemberRule {
  const char* name;
  bool required = true;
  std::vector<std::string> values = {};  ///< any when empty
};

struct PathRule {
  std::vector<std::string> clients;
  const char* path;
  const char* method;
  Cookie cookie = Cookie::any;
  const char* query = "";  ///< the name of the one parameter
  bool freeMembers = false;
  std::vector<MemberRule> members = {};
};

/// Guesses, which the client makes as well, have "guess" behind them: that a one-time code is good
/// once and comes without a cookie; which members go with which request of version 0, and that the
/// password alone goes to MultiAuthLogin; which cookie and which members go with which request of
/// version 1.0S. What its two endpoints want is not even guessed.
const std::vector<PathRule>& rules() {
  static const std::vector<PathRule> all{
      {{"orb", "v0", "v1", "v1s"}, kVersionPath, "GET"},
      {{"orb", "v1s"}, "security/sso", "GET", Cookie::none, "OneTimePass"},  // guess
      {{"orb"}, "tqsintegration/LogPrivEvent", "POST", Cookie::machine, "", true},

      {{"v0"}, "security/GetAuthPolicy", "POST", Cookie::any, "", false, {{"user"}}},
      {{"v0"},
       "security/MultiAuthLogin",  // guess
       "POST",
       Cookie::any,
       "",
       false,
       {{"user"}, {"code"}, {"recId"}, {"nextMechId", true, {"UP"}}}},
      {{"v0"},
       "security/MoveToNextLoginPage",  // guess
       "POST",
       Cookie::any,
       "",
       false,
       {{"user"}, {"recId"}, {"nextMechId"}, {"code", false}, {"securityquestion", false}}},

      {{"v1"},
       "security/StartAuthentication",
       "POST",
       Cookie::any,
       "",
       false,
       {{"User"}, {"Version", true, {"1.0"}}}},
      {{"v1", "v1s"},
       "security/AdvanceAuthentication",
       "POST",
       Cookie::any,
       "",
       false,
       {{"Action", true, {"Answer", "StartOOB", "Poll"}},
        {"MechanismId"},
        {"SessionId"},
        {"TenantId"},
        {"Answer", false}}},

      {{"v1s"},
       "security/startimpersonate",  // guess
       "POST",
       Cookie::machine,
       "",
       false,
       {{"username"}, {"uuid", false}}},
      {{"v1s"},
       "security/startchallenge",  // guess
       "POST",
       Cookie::user,
       "",
       false,
       {{"username", false}, {"challengeId", false}, {"ChallengeStateId", false}}},
      {{"v1s"}, "tqsintegration/mfalogin", "POST", Cookie::user, "", true},
      {{"v1s"}, "tqsintegration/krunexecute", "POST", Cookie::user, "", true},
  };
  return all;
}

std::string quoted(const std::string& text) {
  return "'" + text + "'";
}

/// Collects the faults of one request.
class Judge {
 public:
  Judge(const std::string& client, const PlatformRequest& request, const PlatformState& state)
      : client_(client), request_(request), state_(state) {}

  std::vector<std::string> faults() {
    const PathRule* rule = findRule();
    if (rule == nullptr) return {"no path " + quoted(request_.path) + " for " + client_};
    expect(request_.method == rule->method, "method " + request_.method);
    judgeHeaders();
    judgeCookie(rule->cookie);
    judgeQuery(rule->query);
    judgeBody(*rule);
    return std::move(faults_);
  }

 private:
  void expect(bool met, const std::string& fault) {
    if (!met) faults_.push_back(fault);
  }

  const PathRule* findRule() const {
    const auto fits = [this](const PathRule& rule) {
      return rule.path == request_.path &&
             std::ranges::find(rule.clients, client_) != rule.clients.end();
    };
    const auto found = std::ranges::find_if(rules(), fits);
    return found == rules().end() ? nullptr : &*found;
  }

  void judgeHeader(const std::string& name, const std::string& value) {
    const auto [first, last] = request_.headers.equal_range(name);
    expect(std::distance(first, last) == 1 && first->second == value,
           "header " + name + " is not once " + quoted(value));
  }

  void judgeHeaders() {
    judgeHeader("content-type", "application/json");
    judgeHeader("x-pellion-native-client", "1");
    judgeHeader("x-pln-src", "TQS");
    if (request_.method == "POST") {
      judgeHeader("content-length", std::to_string(request_.body.size()));
    }
    judgeTimeZone();
  }

  /// Minutes west of Greenwich, from UTC+14 to UTC-12; only the borrowed transfers carry it.
  void judgeTimeZone() {
    if (request_.path == kVersionPath) return;
    const auto [first, last] = request_.headers.equal_range("x-tzoff");
    if (client_ == "orb") return expect(first == last, "header x-tzoff is not due");
    int minutes = 9999;
    if (std::distance(first, last) == 1) {
      const std::string& text = first->second;
      const auto parsed = std::from_chars(text.data(), text.data() + text.size(), minutes);
      if (parsed.ptr != text.data() + text.size()) minutes = 9999;
    }
    expect(minutes >= -14 * 60 && minutes <= 12 * 60, "header x-tzoff is not once an offset");
  }

  void judgeCookie(Cookie cookie) {
    const std::vector<std::string> sent = request_.authCookies();
    expect(sent.size() <= 1, "cookie .ASPXAUTH sent " + std::to_string(sent.size()) + " times");
    if (cookie == Cookie::any) return;
    if (cookie == Cookie::none) return expect(sent.empty(), "a cookie with a one-time code");
    const auto& issued = cookie == Cookie::machine ? state_.machineCookies : state_.userCookies;
    const std::string kind = cookie == Cookie::machine ? "machine" : "user";
    if (sent.empty()) return expect(false, "no " + kind + " cookie");
    expect(std::ranges::find(issued, sent.front()) != issued.end(),
           "cookie " + quoted(sent.front()) + " is no " + kind + " cookie");
  }

  void judgeQuery(const std::string& name) {
    if (name.empty()) return expect(request_.query.empty(), "query " + quoted(request_.query));
    expect(!state_.usedCodes.contains(request_.query),
           "query " + quoted(request_.query) + " again");
    expect(request_.query.starts_with(name + "=") && request_.query.size() > name.size() + 1 &&
               request_.query.find('&') == std::string::npos,
           "query " + quoted(request_.query) + " is not " + name);
  }

  void judgeBody(const PathRule& rule) {
    if (request_.method == "GET") return expect(request_.body.empty(), "GET with a body");
    try {
      const tolk::json::Document document = tolk::json::parse(request_.body);
      if (!document.IsObject()) return expect(false, "the body is no JSON object");
      const std::map<std::string, std::string> members = textMembers(document);
      if (!rule.freeMembers) judgeMembers(rule, members);
      if (members.contains("SessionId")) judgeSession(members);
    } catch (const tolk::Base_Exception& e) {
      faults_.push_back(std::string("the body is no JSON: ") + e.what());
    }
  }

  std::map<std::string, std::string> textMembers(const tolk::json::Value& object) {
    std::map<std::string, std::string> members;
    for (const auto& member : object.GetObject()) {
      const std::string name(member.name.GetString(), member.name.GetStringLength());
      expect(member.value.IsString(), "member " + name + " is no string");
      if (!member.value.IsString()) continue;
      const std::string text(member.value.GetString(), member.value.GetStringLength());
      expect(members.emplace(name, text).second, "member " + name + " twice");
    }
    return members;
  }

  void judgeMembers(const PathRule& rule, const std::map<std::string, std::string>& members) {
    std::set<std::string> known;
    for (const MemberRule& member : rule.members) {
      known.insert(member.name);
      const auto found = members.find(member.name);
      if (found == members.end()) {
        expect(!member.required, std::string("no member ") + member.name);
      } else if (!member.values.empty()) {
        expect(std::ranges::find(member.values, found->second) != member.values.end(),
               found->first + " = " + quoted(found->second));
      }
    }
    for (const auto& [name, value] : members) expect(known.contains(name), "member " + name);
    if (const auto action = members.find("Action"); action != members.end()) {
      expect(members.contains("Answer") == (action->second == "Answer"),
             "Answer with Action " + action->second);
    }
  }

  void judgeSession(const std::map<std::string, std::string>& members) {
    expect(!state_.answered.contains(request_.body), "the same answer again");
    expect(members.at("SessionId") == state_.sessionId,
           "SessionId = " + quoted(members.at("SessionId")));
    const auto tenant = members.find("TenantId");
    expect(tenant != members.end() && tenant->second == state_.tenantId,
           "TenantId is not " + quoted(state_.tenantId));
  }

  const std::string& client_;
  const PlatformRequest& request_;
  const PlatformState& state_;
  std::vector<std::string> faults_;
};

std::string_view trimmed(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

}  // namespace

std::vector<std::string> PlatformRequest::authCookies() const {
  std::vector<std::string> values;
  const auto [first, last] = headers.equal_range("cookie");
  for (auto line = first; line != last; ++line) {
    std::string_view rest = line->second;
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find(';'), rest.size());
      const std::string_view one = trimmed(rest.substr(0, end));
      if (one.starts_with(kAuthCookie)) values.emplace_back(one.substr(kAuthCookie.size()));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  return values;
}

bool needsCookie(const std::string& path) {
  return std::ranges::any_of(rules(), [&path](const PathRule& rule) {
    return rule.path == path && (rule.cookie == Cookie::machine || rule.cookie == Cookie::user);
  });
}

std::string authCookieOf(const std::string& setCookie) {
  if (!setCookie.starts_with(kAuthCookie)) return "";
  return setCookie.substr(kAuthCookie.size(), setCookie.find(';') - kAuthCookie.size());
}

std::vector<std::string> faultsOf(const std::string& client, const PlatformRequest& request,
                                  const PlatformState& state) {
  static const std::set<std::string> known{"orb", "v0", "v1", "v1s"};
  if (!known.contains(client)) throw std::invalid_argument("no client " + quoted(client));
  return Judge(client, request, state).faults();
}

}  // namespace joinscope::test
