// What the platform asks of a user.
#include "cloud/signon/mfa_policy.h"

#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_log.h"
#include "cloud/http/cloud_object.h"
#include "cloud/signon/cloud_json.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.object"};

constexpr char kStartOob[] = "StartOob";
constexpr char kStartTextOob[] = "StartTextOob";
constexpr char kRedirect[] = "Redirect";
constexpr char kPressEnter[] = ". After that, please press <enter> to finish authentication";

bool isPhone(const std::string& name) {
  return name == CLOUD_MECH_PHONE || name == CLOUD_MECH_PHONE_HOME ||
         name == CLOUD_MECH_PHONE_OFFICE || name == CLOUD_MECH_PHONE_MOBILE;
}

MfaMechanism readMechanism(const json::Value& entry) {
  return {.id = getJsonString(entry, JSON_MEMBER_MECHANISMID),
          .name = getJsonString(entry, JSON_MEMBER_NAME),
          .answerType = textMember(entry, JSON_MEMBER_ANSWER_TYPE),
          .promptSelectMech = textMember(entry, "PromptSelectMech"),
          .promptMechChosen = textMember(entry, "PromptMechChosen"),
          .partialAddress = textMember(entry, JSON_MEMBER_EMAIL_PARTIAL_ADDRESS),
          .partialDeviceAddress = textMember(entry, JSON_MEMBER_SMS_PARTIAL_DEVICE_ADDRESS),
          .partialPhoneNumber = textMember(entry, JSON_MEMBER_PF_PARTIAL_PHONE_NUMBER),
          .question = textMember(entry, JSON_MEMBER_SQ_QUESTION),
          .phoneType = textMember(entry, JSON_MEMBER_PF_PHONE_TYPE),
          .emailType = textMember(entry, JSON_MEMBER_EMAIL_TYPE),
          .customClientInfo = textMember(entry, JSON_MEMBER_CUSTOM_CLIENT_INFO)};
}

MfaChallenge readChallenge(const json::Value& entry, std::size_t number) {
  const json::Value* mechanisms = json::findMember(entry, JSON_MEMBER_MECHANISMS);
  if (mechanisms == nullptr || !mechanisms->IsArray() || mechanisms->Empty()) {
    throw CloudException(formatText("Errors in parsing result from Json: '%s' does NOT exist",
                                    {JSON_MEMBER_MECHANISMS}));
  }
  MfaChallenge challenge{.name = "Challenge_" + std::to_string(number), .mechanisms = {}};
  for (const json::Value& mechanism : mechanisms->GetArray()) {
    challenge.mechanisms.push_back(readMechanism(mechanism));
  }
  return challenge;
}

}  // namespace

bool isOutOfBand(const MfaMechanism& mechanism) {
  return mechanism.answerType == kStartOob || mechanism.answerType == kStartTextOob ||
         mechanism.answerType == kRedirect;
}

bool takesText(const MfaMechanism& mechanism) {
  return mechanism.answerType == kStartTextOob;
}

MfaPolicy readPolicyV1(const json::Value& result) {
  MfaPolicy policy{.sessionId = getJsonString(result, JSON_MEMBER_SESSION_ID),
                   .tenantId = getJsonString(result, JSON_MEMBER_TENANT_ID),
                   .challenges = {}};
  const std::string version = textMember(result, JSON_MEMBER_VERSION);
  if (version != CLOUD_REST_API_VERSION_V1) {
    throw CloudException(formatText(
        "Errors in parsing policy from Json: 'Version' = '%s' but NOT V1", {printable(version)}));
  }
  const json::Value* challenges = json::findMember(result, JSON_MEMBER_CHALLENGES);
  if (challenges == nullptr || !challenges->IsArray() || challenges->Empty()) {
    throw CloudException("Errors in parsing policy from Json: no challenges exist");
  }
  for (const json::Value& challenge : challenges->GetArray()) {
    policy.challenges.push_back(readChallenge(challenge, policy.challenges.size()));
  }
  return policy;
}

std::string selectText(const MfaMechanism& mechanism) {
  if (!mechanism.promptSelectMech.empty()) return mechanism.promptSelectMech;
  const std::string& name = mechanism.name;
  if (name == CLOUD_MECH_UP) return "User Password";
  if (name == CLOUD_MECH_OTP) return "Pellion Mobile Authenticator";
  if (name == CLOUD_MECH_SQ) return "Answer Security Question";
  if (name == CLOUD_MECH_EMAIL) {
    return "Email verification code is sent to address: XXXX@" + mechanism.partialAddress;
  }
  if (name == CLOUD_MECH_SMS) {
    return "SMS verification code is sent to mobile phone: XXXX" + mechanism.partialDeviceAddress;
  }
  if (isPhone(name)) {
    return "Phone call is sent to number: XXXX" + mechanism.partialPhoneNumber;
  }
  if (name == CLOUD_MECH_RESET) return "New Password";
  kLog.debug("No select text is available for mechanism(%s) in parsing mechanism select text",
             {name});
  return {};
}

std::string answerPrompt(const MfaMechanism& mechanism) {
  if (!mechanism.promptMechChosen.empty()) {
    if (!isOutOfBand(mechanism)) return mechanism.promptMechChosen + ": ";
    return mechanism.promptMechChosen + kPressEnter + (takesText(mechanism) ? ": " : ".");
  }
  const std::string& name = mechanism.name;
  if (name == CLOUD_MECH_UP) return "Please enter user password: ";
  if (name == CLOUD_MECH_OTP) {
    return "Please press <enter> and then 'Approve' the request on your mobile device or enter "
           "your OTP code here: ";
  }
  if (name == CLOUD_MECH_SQ) return mechanism.question + "\nYour answer is: ";
  if (name == CLOUD_MECH_EMAIL) {
    return "An email has been sent to your registered email address: XXX@" +
           mechanism.partialAddress +
           ".\nPlease click the link in this email to do authentication.\nAfter that, press "
           "<enter> to finish authentication.";
  }
  if (name == CLOUD_MECH_SMS) {
    return "A text message is sent to your phone(XXXX" + mechanism.partialDeviceAddress +
           ").\nPlease enter the code or click on the link in the message to proceed: ";
  }
  if (isPhone(name)) {
    return "A call is made to your phone (XXXX" + mechanism.partialPhoneNumber +
           ").\nPlease follow the instructions to proceed with authentication.\nAfter that, press "
           "<enter> to finish authentication.";
  }
  if (name == CLOUD_MECH_RESET) return "Please enter new user password: ";
  kLog.debug("No answer prompt is available for mechanism(%s) in parsing answer prompt", {name});
  return "Sorry. This mechanism is not supported.";
}

}  // namespace tolk
