// Multi-factor authentication by version 0 of the REST interface.
#include "cloud/signon/cloud_auth_v0.h"

#include <array>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/signon/cloud_json.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr char JSON_MEMBER_USER[] = "user";
constexpr char JSON_MEMBER_CODE[] = "code";
constexpr char JSON_MEMBER_RECORD_ID[] = "recId";
constexpr char JSON_MEMBER_NEXT_MECHANISM[] = "nextMechId";
constexpr char JSON_MEMBER_QUESTION[] = "securityquestion";
constexpr char JSON_MEMBER_STATUS[] = "status";
constexpr char kDone[] = "Move";

constexpr char kMoveFailed[] = "Failed to authenticate password using REST API MoveToNextLoginPage";

/// Whether a mechanism waits for the user somewhere else, and takes a code as well.
std::string answerTypeOf(const std::string& name) {
  if (name == CLOUD_MECH_UP || name == CLOUD_MECH_SQ || name == CLOUD_MECH_RESET) return "Text";
  if (name == CLOUD_MECH_OTP || name == CLOUD_MECH_SMS) return "StartTextOob";
  return "StartOob";
}

/// "home", "office" or "mobile" for a phone mechanism.
std::string phoneTypeOf(const std::string& name) {
  struct Phone {
    const char* mechanism;
    const char* type;
  };
  constexpr std::array kPhones{Phone{CLOUD_MECH_PHONE_HOME, "home"},
                               Phone{CLOUD_MECH_PHONE_OFFICE, "office"},
                               Phone{CLOUD_MECH_PHONE_MOBILE, "mobile"}};
  for (const Phone& phone : kPhones) {
    if (name == phone.mechanism) return phone.type;
  }
  return {};
}

std::string firstOf(const std::string& one, const std::string& other) {
  return one.empty() ? other : one;
}

}  // namespace

MfaPolicy CloudAuthV0::startAuthentication(const std::string& user) {
  user_ = user;
  postWhereUserIs(CLOUD_RESTAPI_GET_AUTH_POLICY, {{JSON_MEMBER_USER, user}});
  readPolicy();
  return policy_;
}

void CloudAuthV0::readPolicy() {
  MfaChallenge required{.name = "Challenge1 required", .mechanisms = {}};
  MfaChallenge optional{.name = "Challenge2 optional", .mechanisms = {}};
  const json::Value* mechanisms = json::findMember(result(), "mechs");
  if (mechanisms != nullptr && mechanisms->IsArray()) {
    for (const json::Value& entry : mechanisms->GetArray()) {
      readMechanism(entry, required, optional);
    }
  }
  if (required.mechanisms.empty() && optional.mechanisms.empty()) {
    throw CloudException("Errors in parsing policy from Json: no mechanisms exist");
  }
  if (required.mechanisms.size() > 1) {
    throw CloudException(
        "Errors in parsing policy from Json: there're more than one required mechanisms in REST "
        "V0");
  }
  recordId_ = getJsonString(result(), JSON_MEMBER_RECORD_ID);
  policy_ = {};
  step_ = 0;
  for (MfaChallenge& challenge : {std::ref(required), std::ref(optional)}) {
    if (!challenge.mechanisms.empty()) policy_.challenges.push_back(std::move(challenge));
  }
}

void CloudAuthV0::readMechanism(const json::Value& entry, MfaChallenge& required,
                                MfaChallenge& optional) const {
  MfaMechanism mechanism{.id = getJsonString(entry, "mechId")};
  mechanism.name = mechanism.id;
  mechanism.answerType = answerTypeOf(mechanism.name);
  mechanism.phoneType = firstOf(textMember(entry, CLOUD_MECH_PF_TYPE), phoneTypeOf(mechanism.name));
  mechanism.promptSelectMech = textMember(entry, "fieldLabel");
  mechanism.promptMechChosen = firstOf(textMember(entry, "msg"), textMember(entry, "fieldText"));
  mechanism.question = textMember(result(), JSON_MEMBER_QUESTION);
  const bool isRequired = textMember(entry, "required") == "True";
  (isRequired ? required : optional).mechanisms.push_back(std::move(mechanism));
}

int CloudAuthV0::advanceAuthentication(const std::string& action, const MfaMechanism& mechanism,
                                       const Shredder& answer) {
  if (action != JSON_VAL_ACTION_ANSWER)
    return startOrPoll(mechanism, action == JSON_VAL_ACTION_POLL);
  return mechanism.id == CLOUD_MECH_UP ? sendPassword(answer) : sendAnswer(mechanism, answer);
}

int CloudAuthV0::sendPassword(const Shredder& password) {
  if (!post(CLOUD_RESTAPI_MULTI_AUTH_LOGIN, {{JSON_MEMBER_USER, user_},
                                             {JSON_MEMBER_CODE, password.view()},
                                             {JSON_MEMBER_RECORD_ID, recordId_},
                                             {JSON_MEMBER_NEXT_MECHANISM, CLOUD_MECH_UP}})) {
    throw CloudException("Failed to authenticate password using REST API MultiAuthLogin");
  }
  return afterStep();
}

int CloudAuthV0::startOrPoll(const MfaMechanism& mechanism, bool poll) {
  const bool success =
      post(CLOUD_RESTAPI_MOVE_TO_NEXT_PAGE, {{JSON_MEMBER_USER, user_},
                                             {JSON_MEMBER_RECORD_ID, recordId_},
                                             {JSON_MEMBER_NEXT_MECHANISM, mechanism.id}});
  if (!success) {
    throw CloudException(poll ? "REST API for polling returns failure" : kMoveFailed);
  }
  const bool done = textMember(result(), JSON_MEMBER_STATUS) == kDone;
  if (!poll || !done) return MfaSummary::pending;
  // A code that the poll brings is what the user would have typed.
  const Shredder code(textMember(result(), JSON_MEMBER_CODE));
  return code.empty() ? afterStep() : sendAnswer(mechanism, code);
}

int CloudAuthV0::sendAnswer(const MfaMechanism& mechanism, const Shredder& answer) {
  const bool success =
      mechanism.id == CLOUD_MECH_SQ
          ? post(CLOUD_RESTAPI_MOVE_TO_NEXT_PAGE, {{JSON_MEMBER_USER, user_},
                                                   {JSON_MEMBER_CODE, answer.view()},
                                                   {JSON_MEMBER_QUESTION, mechanism.question},
                                                   {JSON_MEMBER_RECORD_ID, recordId_},
                                                   {JSON_MEMBER_NEXT_MECHANISM, mechanism.id}})
          : post(CLOUD_RESTAPI_MOVE_TO_NEXT_PAGE, {{JSON_MEMBER_USER, user_},
                                                   {JSON_MEMBER_CODE, answer.view()},
                                                   {JSON_MEMBER_RECORD_ID, recordId_},
                                                   {JSON_MEMBER_NEXT_MECHANISM, mechanism.id}});
  if (!success) throw CloudException(kMoveFailed);
  return afterStep();
}

// An answer may carry the record's next name, and a word other than that the user may move on.
int CloudAuthV0::afterStep() {
  const std::string status = textMember(result(), JSON_MEMBER_STATUS);
  if (!status.empty() && status != kDone) return MfaSummary::failed;
  recordId_ = firstOf(textMember(result(), JSON_MEMBER_RECORD_ID), recordId_);
  ++step_;
  return step_ < policy_.challenges.size() ? MfaSummary::nextChallenge : MfaSummary::authenticated;
}

std::string CloudAuthV0::getAnswerPrompt(const MfaMechanism& mechanism) const {
  const std::string& name = mechanism.name;
  if (name == CLOUD_MECH_UP) return "Please enter user password";
  if (name == CLOUD_MECH_RESET) return "Please enter new user password";
  if (name == CLOUD_MECH_OTP) {
    return "Please enter RETURN and then 'Approve' the request on your mobile device or enter your "
           "OTP code here";
  }
  if (name == CLOUD_MECH_SQ) return mechanism.question + "\nYour answer is";
  if (name == CLOUD_MECH_EMAIL) {
    return "An email has been sent to your registered email address.\nPlease click the link in "
           "this email to finish authentication.";
  }
  if (!mechanism.promptMechChosen.empty()) return mechanism.promptMechChosen;
  return "Please enter RETURN to finish authentication by clicking the link in your message or "
         "enter your code here";
}

}  // namespace tolk
