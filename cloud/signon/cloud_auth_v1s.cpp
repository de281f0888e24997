// Multi-factor authentication by version 1.0S of the REST interface.
#include "cloud/signon/cloud_auth_v1s.h"

#include <fstream>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_log.h"
#include "cloud/http/url_text.h"
#include "cloud/signon/cloud_json.h"
#include "cloud/signon/iwa_site_check.h"
#include "cloud/signon/mfa_texts.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.object"};
constexpr long kUnauthorized = 401;
constexpr long kForbidden = 403;

constexpr char JSON_MEMBER_UUID[] = "uuid";
constexpr char JSON_MEMBER_CHALLENGE_ID[] = "ChallengeId";
constexpr char JSON_MEMBER_CHALLENGE_STATE_ID[] = "ChallengeStateId";
constexpr char JSON_MEMBER_START_CHALLENGE_ID[] = "challengeId";
constexpr char kChallengeRequired[] = "ChallengeRequired";
constexpr char kNotConfigured[] = "NotConfigured";

/// A random name (RFC 4122).
std::string randomUuid() {
  std::ifstream file("/proc/sys/kernel/random/uuid");
  std::string uuid;
  std::getline(file, uuid);
  return uuid;
}

/// A member of "Result", or of the answer itself.
std::string anyMember(const json::Value& result, const json::Value& answer, const char* name) {
  const std::string inside = textMember(result, name);
  return inside.empty() ? textMember(answer, name) : inside;
}

[[noreturn]] void throwSiteCheck(const SiteCheckResult& check, long status) {
  using Fault = SiteCheckResult::Fault;
  if (check.fault == Fault::notSuccess) {
    kLog.debug("SiteCheck result is not 'success'(%s)", {check.result});
    throw CloudIwaException(kMachineRefused);
  }
  if (check.fault == Fault::status) {
    kLog.debug("SiteCheck HTTP code is not OK(%s)", {std::to_string(status)});
  } else {
    kLog.debug("There's no valid json string in SiteCheck response. Can't find '%s'.",
               {check.fault == Fault::noOpeningBrace ? "{" : "}"});
  }
  throw CloudIwaException(kIwaServiceInDoubt);
}

}  // namespace

MfaPolicy CloudAuthV1S::startAuthentication(const std::string& user) {
  user_ = user;
  uuid_ = randomUuid();
  getMachineAuthToken();
  startImpersonate();
  const Verdict verdict = startMfaFresh();
  if (verdict.success) {
    kLog.debug("startAuthentication: after starting endpoint, no need to authenticate.");
    policy_ = {};
    return policy_;
  }
  kLog.debug(
      "startAuthentication: after starting endpoint, errorId = %s, challengeId = %s, reason = %s.",
      {verdict.errorId, verdict.challengeId, verdict.reason});
  if (verdict.errorId == kNotConfigured) throwMissingProfile();
  if (verdict.errorId != kChallengeRequired) throwChallengeFailed();
  startChallenge(verdict.challengeId);
  return policy_;
}

void CloudAuthV1S::getMachineAuthToken() {
  (void)transfer();  // that there is none to lend is the pool's own failure
  try {
    siteCheck();
    sso();
  } catch (const CloudIwaException&) {
    throw;
  } catch (const CurlException& e) {
    kLog.debug("%s", {e.what()});
    throw CloudIwaException(kNetworkInDoubt);
  } catch (const Base_Exception& e) {
    throw CloudIwaException(formatText("Internal error. Error message: %s", {e.what()}));
  }
}

void CloudAuthV1S::siteCheck() {
  const SiteCheckResult check = checkSite(transfer(), way_, kLog);
  if (check.fault != SiteCheckResult::Fault::none) {
    throwSiteCheck(check, transfer().responseCode());
  }
  oneTimeCode_ = getJsonString(check.answer, JSON_MEMBER_OTC);
  kLog.debug("siteCheck: complete successfully");
}

void CloudAuthV1S::sso() {
  const std::string path =
      url() + CLOUD_RESTAPI_SSO + "?OneTimePass=" + percentEncoded(oneTimeCode_);
  transfer().clearCookies();
  get(path);
  const bool success = processResult();
  machineCookie_ = transfer().getCookie(CLOUD_AUTH_COOKIE);
  kLog.debug("sso: cookieExist = %d", {machineCookie_.empty() ? "0" : "1"});
  kLog.debug("sso: result = %d, httpCode = %ld",
             {success ? "1" : "0", std::to_string(transfer().responseCode())});
  oneTimeCode_.clear();
  if (!success || machineCookie_.empty()) throw CloudIwaException(kMachineRefused);
}

// The machine's cookie may have ended since it was got.
void CloudAuthV1S::startImpersonate() {
  if (tryImpersonate()) return;
  if (transfer().responseCode() == kUnauthorized) {
    getMachineAuthToken();
    if (tryImpersonate()) return;
  }
  if (transfer().responseCode() == kForbidden) throw CloudException(kRightMissing);
  throwChallengeFailed();
}

bool CloudAuthV1S::tryImpersonate() {
  transfer().setCookie(std::string(CLOUD_AUTH_COOKIE) + "=" + machineCookie_ + ";");
  const bool success = post(CLOUD_RESTAPI_START_IMPERSONATE,
                            {{JSON_MEMBER_USERNAME, user_}, {JSON_MEMBER_UUID, uuid_}});
  const std::string cookie = transfer().getCookie(CLOUD_AUTH_COOKIE);
  const bool isNew = !cookie.empty() && cookie != machineCookie_;
  kLog.debug("startImpersonate: result = %d, httpCode = %ld, cookieExist = %d",
             {success ? "1" : "0", std::to_string(transfer().responseCode()), isNew ? "1" : "0"});
  if (success && isNew) userCookie_ = cookie;
  return success && isNew;
}

CloudAuthV1S::Verdict CloudAuthV1S::startMfaFresh() {
  Verdict verdict = startMfa();
  if (verdict.status != kUnauthorized) return verdict;
  startImpersonate();
  verdict = startMfa();
  if (verdict.status == kUnauthorized) {
    kLog.debug("startAuthentication: user cookie is updated but still got HTTP Unauthorized.");
    throw CloudException(kMachineRefused);
  }
  return verdict;
}

CloudAuthV1S::Verdict CloudAuthV1S::startMfa() {
  Verdict verdict = callEndpoint();
  kLog.debug(
      "startMfa: authProfileType = %d, success = %d, httpCode = %d",
      {isCommand() ? "1" : "0", verdict.success ? "1" : "0", std::to_string(verdict.status)});
  kLog.debug("startMfa: errorId = %s, challengeId = %s, reason = %s",
             {verdict.errorId, verdict.challengeId, verdict.reason});
  return verdict;
}

CloudAuthV1S::Verdict CloudAuthV1S::callEndpoint() {
  transfer().setCookie(std::string(CLOUD_AUTH_COOKIE) + "=" + userCookie_ + ";");
  const char* path = isCommand() ? CLOUD_RESTAPI_KRUN_EXECUTE : CLOUD_RESTAPI_MFA_LOGIN;
  const bool carriesPayload = Props().getBool(PN::VELKD_CLOUD_MFA_PAYLOADS);
  Verdict verdict;
  verdict.success = carriesPayload
                        ? post(path, {{JSON_MEMBER_USERNAME, user_},
                                      {JSON_MEMBER_UUID, uuid_},
                                      {JSON_MEMBER_CHALLENGE_STATE_ID, challengeStateId_},
                                      {"program", request().program},
                                      {"command", request().command}})
                        : post(path, {{JSON_MEMBER_USERNAME, user_},
                                      {JSON_MEMBER_UUID, uuid_},
                                      {JSON_MEMBER_CHALLENGE_STATE_ID, challengeStateId_}});
  verdict.status = transfer().responseCode();
  verdict.errorId = anyMember(result(), answer_, JSON_MEMBER_ERROR_ID);
  verdict.challengeId = anyMember(result(), answer_, JSON_MEMBER_CHALLENGE_ID);
  verdict.reason = anyMember(result(), answer_, JSON_MEMBER_REASON);
  return verdict;
}

void CloudAuthV1S::startChallenge(const std::string& challengeId) {
  const bool success =
      post(CLOUD_RESTAPI_START_CHALLENGE,
           {{JSON_MEMBER_USERNAME, user_}, {JSON_MEMBER_START_CHALLENGE_ID, challengeId}});
  kLog.debug("startChallenge: result = %d, httpCode = %ld",
             {success ? "1" : "0", std::to_string(transfer().responseCode())});
  if (!success) throwChallengeFailed();
  challengeStateId_ = anyMember(result(), answer_, JSON_MEMBER_CHALLENGE_STATE_ID);
  policy_ = readPolicyV1(result());
}

int CloudAuthV1S::advanceAuthentication(const std::string& action, const MfaMechanism& mechanism,
                                        const Shredder& answer) {
  const int summary = CloudAuthV1::advanceAuthentication(action, mechanism, answer);
  if (summary != MfaSummary::authenticated) return summary;
  const Verdict verdict = startMfaFresh();
  if (verdict.success) return MfaSummary::authenticated;
  if (verdict.errorId == kChallengeRequired) {
    kLog.debug("advanceAuthentication: need to authenticate again.");
    startChallenge(verdict.challengeId);
    return MfaSummary::newPolicy;
  }
  kLog.debug(
      "advanceAuthentication: revisit the endpoint(krunexecute/mfalogin) failed; httpCode = %d, "
      "errorId = %s, reason = %s.",
      {std::to_string(verdict.status), verdict.errorId, verdict.reason});
  return MfaSummary::failed;
}

void CloudAuthV1S::throwMissingProfile() const {
  kLog.error("%s", {isCommand() ? kNoCommandProfile : kNoLoginProfile});
  throw CloudException(
      formatText(isCommand() ? kNoCommandProfileFor : kNoLoginProfileFor, {printable(user_)}));
}

void CloudAuthV1S::throwChallengeFailed() const {
  throw CloudException(formatText(kChallengeFailedFor, {printable(user_)}));
}

}  // namespace tolk
