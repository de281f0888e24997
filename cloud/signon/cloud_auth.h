// Authenticates one user at the platform, step by step. docs/cloud.md draws the steps.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cloud/http/cloud_object.h"
#include "cloud/http/curl_object.h"
#include "cloud/http/platform_way.h"
#include "cloud/signon/mfa_policy.h"
#include "tolk/base/json.h"
#include "tolk/base/shredder.h"

namespace tolk {

/// Whom to authenticate, for what.
struct MfaRequest {
  std::string user;
  std::string program;  ///< on whose behalf
  std::string command;  ///< the privileged command; "" for a login
};

/// A client of one version of the REST interface. For one thread at a time. Every call that asks
/// the platform may throw CurlException, CloudConnException, BadDataException for an answer that is
/// no JSON, and CloudException with a text for people.
class CloudAuth : public CloudBase {
 public:
  /// Throws CloudException for a way to no platform.
  CloudAuth(PlatformWay way, MfaRequest request);
  /// Gives the transfer back.
  ~CloudAuth() override;

  /// Begins. A policy without challenges means that the user need not be asked.
  [[nodiscard]] virtual MfaPolicy startAuthentication(const std::string& user) = 0;
  /// One step with a mechanism of the current challenge; `action` is a JSON_VAL_ACTION_...,
  /// `answer` goes with JSON_VAL_ACTION_ANSWER. Returns a code of MfaSummary.
  [[nodiscard]] virtual int advanceAuthentication(const std::string& action,
                                                  const MfaMechanism& mechanism,
                                                  const Shredder& answer) = 0;
  /// The policy that came with MfaSummary::newPolicy.
  [[nodiscard]] const MfaPolicy& policy() const noexcept { return policy_; }

  [[nodiscard]] virtual std::string getSelectText(const MfaMechanism& mechanism) const;
  [[nodiscard]] virtual std::string getAnswerPrompt(const MfaMechanism& mechanism) const;

  /// Borrows a transfer, with the platform's certificate checked as configured and the cookies of
  /// this authentication, unless there is one.
  void getCurl(const std::string& userName, const std::string& programName);
  /// Gives the transfer back until the next step: nobody waits for one while a user thinks.
  void releaseCurl();

  [[nodiscard]] const PlatformWay& way() const noexcept { return way_; }

  bool processResult() override;

 protected:
  using Members = std::initializer_list<std::pair<std::string_view, std::string_view>>;

  /// Posts an object of strings; what processResult() says of the answer. The text sent is wiped.
  [[nodiscard]] bool post(const char* path, Members members);
  /// The same for the first request about a user, again at another host where the platform says
  /// that the user's instance is there. Throws CloudException "Failed to startAuthentication".
  void postWhereUserIs(const char* path, Members members);
  [[nodiscard]] CurlObject& transfer();
  /// A request without a body.
  void get(const std::string& url) { way_.request(transfer(), url, {}, false); }
  /// The object "Result" of the last answer, or an empty one.
  [[nodiscard]] const json::Value& result() const;
  [[nodiscard]] const std::string& url() const noexcept { return url_; }
  [[nodiscard]] const MfaRequest& request() const noexcept { return request_; }

  PlatformWay way_;
  MfaPolicy policy_;
  json::Document answer_;  // the last one

 private:
  [[nodiscard]] bool moveToPod();

  std::string url_;  // of the platform, or of the host where the user's instance is
  MfaRequest request_;
  std::shared_ptr<CurlObject> transfer_;
  std::vector<std::string> cookies_;  // while there is no transfer
};

}  // namespace tolk
