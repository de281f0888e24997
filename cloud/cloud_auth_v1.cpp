// Multi-factor authentication by version 1.0 of the REST interface.
#include "cloud/cloud_auth_v1.h"

#include <algorithm>
#include <string_view>

#include "cloud/cloud_exceptions.h"
#include "cloud/cloud_json.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr int kMostMoves = 3;

bool isHostName(const std::string& text) {
  return std::ranges::all_of(text, [](unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == ':';
  });
}

int summaryCode(const std::string& summary) {
  if (summary == "StartNextChallenge") return MfaSummary::nextChallenge;
  if (summary == "OobPending") return MfaSummary::pending;
  if (summary == "LoginSuccess" || summary == "Success") return MfaSummary::authenticated;
  if (summary == "NewPackage") return MfaSummary::newPolicy;
  return MfaSummary::failed;
}

}  // namespace

MfaPolicy CloudAuthV1::startAuthentication(const std::string& user) {
  const auto ask = [&] {
    return post(CLOUD_RESTAPI_STARTAUTH, {{"User", user}, {"Version", CLOUD_REST_API_VERSION_V1}});
  };
  bool success = ask();
  for (int moves = 0; moveToPod(); ++moves) success = moves < kMostMoves && ask();
  if (!success) throw CloudException("Failed to startAuthentication");
  policy_ = readPolicyV1(result());
  return policy_;
}

// Whether the last answer names another host than the present one.
bool CloudAuthV1::moveToPod() {
  const std::string pod = textMember(result(), JSON_MEMBER_POD_FQDN);
  if (pod.empty()) return false;
  if (!isHostName(pod)) {
    throw CloudException("The platform names a host that is none: '" + printable(pod) + "'");
  }
  const std::size_t scheme = url().find("://");
  std::string moved = url().substr(0, scheme) + "://" + pod + "/";
  if (equalsIgnoringCase(moved, url())) return false;
  setUrl(std::move(moved));
  return true;
}

int CloudAuthV1::advanceAuthentication(const std::string& action, const MfaMechanism& mechanism,
                                       const Shredder& answer) {
  const bool success = action == MfaAction::answer
                           ? post(CLOUD_RESTAPI_ADVANCEAUTH, {{"Action", action},
                                                              {"MechanismId", mechanism.id},
                                                              {"SessionId", policy_.sessionId},
                                                              {"TenantId", policy_.tenantId},
                                                              {"Answer", answer.view()}})
                           : post(CLOUD_RESTAPI_ADVANCEAUTH, {{"Action", action},
                                                              {"MechanismId", mechanism.id},
                                                              {"SessionId", policy_.sessionId},
                                                              {"TenantId", policy_.tenantId}});
  if (!success) return MfaSummary::failed;
  const int summary = summaryCode(getJsonString(result(), "Summary"));
  if (summary == MfaSummary::newPolicy) policy_ = readPolicyV1(result());
  return summary;
}

}  // namespace tolk
