// Multi-factor authentication by version 1.0 of the REST interface.
#include "cloud/signon/cloud_auth_v1.h"

#include <algorithm>
#include <string_view>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/signon/cloud_json.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

int summaryCode(const std::string& summary) {
  if (summary == JSON_VAL_SUMMARY_START_NEXT_CHALLENGE) return MfaSummary::nextChallenge;
  if (summary == JSON_VAL_SUMMARY_OOB_PENDING) return MfaSummary::pending;
  if (summary == JSON_VAL_SUMMARY_LOGIN_SUCCESS || summary == JSON_VAL_SUMMARY_SUCCESS)
    return MfaSummary::authenticated;
  if (summary == JSON_VAL_SUMMARY_NEW_MFA_PACKAGE) return MfaSummary::newPolicy;
  return MfaSummary::failed;
}

}  // namespace

MfaPolicy CloudAuthV1::startAuthentication(const std::string& user) {
  postWhereUserIs(CLOUD_RESTAPI_STARTAUTH,
                  {{JSON_MEMBER_NEW_USER, user}, {JSON_MEMBER_VERSION, CLOUD_REST_API_VERSION_V1}});
  policy_ = readPolicyV1(result());
  return policy_;
}

int CloudAuthV1::advanceAuthentication(const std::string& action, const MfaMechanism& mechanism,
                                       const Shredder& answer) {
  const bool success =
      action == JSON_VAL_ACTION_ANSWER
          ? post(CLOUD_RESTAPI_ADVANCEAUTH, {{JSON_MEMBER_ACTION, action},
                                             {JSON_MEMBER_MECHANISMID, mechanism.id},
                                             {JSON_MEMBER_SESSION_ID, policy_.sessionId},
                                             {JSON_MEMBER_TENANT_ID, policy_.tenantId},
                                             {JSON_MEMBER_ANSWER, answer.view()}})
          : post(CLOUD_RESTAPI_ADVANCEAUTH, {{JSON_MEMBER_ACTION, action},
                                             {JSON_MEMBER_MECHANISMID, mechanism.id},
                                             {JSON_MEMBER_SESSION_ID, policy_.sessionId},
                                             {JSON_MEMBER_TENANT_ID, policy_.tenantId}});
  if (!success) return MfaSummary::failed;
  const int summary = summaryCode(textMember(result(), JSON_MEMBER_SUMMARY));
  if (summary == MfaSummary::newPolicy) policy_ = readPolicyV1(result());
  return summary;
}

}  // namespace tolk
