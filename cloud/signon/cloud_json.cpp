// The platform's answers.
#include "cloud/signon/cloud_json.h"

#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_object.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr long kOk = 200;

}  // namespace

std::string textMember(const json::Value& object, const std::string& name) {
  const json::Value* member = json::findMember(object, name);
  if (member == nullptr || !member->IsString()) return {};
  return {member->GetString(), member->GetStringLength()};
}

std::string getJsonString(const json::Value& document, const std::string& name) {
  const json::Value* member = json::findMember(document, name);
  if (member == nullptr || !member->IsString()) {
    throw CloudException(
        formatText("Errors in parsing result from Json: '%s' does NOT exist", {name}));
  }
  return {member->GetString(), member->GetStringLength()};
}

bool isSuccess(const CurlObject& transfer, json::Document& answer, const CloudLog& log) {
  log.debug("HTTP code = %ld", {std::to_string(transfer.responseCode())});
  if (transfer.responseCode() != kOk) return false;
  log(LogLevel::trace, "HTTP response: %s", {transfer.responseBody()});
  answer = json::parse(transfer.responseBody());
  const json::Value* success = json::findMember(answer, JSON_MEMBER_SUCCESS);
  if (success != nullptr && success->IsTrue()) return true;
  log.debug(
      "processResult returns false, error information from cloud errorCode = %s, errorId = %s, "
      "message = %s, messageId = %s.",
      {textMember(answer, JSON_MEMBER_ERROR_CODE), textMember(answer, JSON_MEMBER_ERROR_ID),
       textMember(answer, JSON_MEMBER_MESSAGE), textMember(answer, JSON_MEMBER_MESSAGE_ID)});
  return false;
}

}  // namespace tolk
