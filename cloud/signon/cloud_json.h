// The platform's answers.
#pragma once

#include <string>

#include "cloud/http/cloud_log.h"
#include "cloud/http/curl_object.h"
#include "tolk/base/json.h"

namespace tolk {

/// The string member `name` of an answer. Throws CloudException when it is missing, is no string,
/// or nothing has been parsed.
[[nodiscard]] std::string getJsonString(const json::Value& document, const std::string& name);

/// The same; "" instead of an exception.
[[nodiscard]] std::string textMember(const json::Value& object, const std::string& name);

/// Judges the answer of the last request: parses the body of a status 200 into `answer`; true when
/// its member "success" is true, else what the platform says of the failure is recorded. Throws
/// BadDataException for a body that is no JSON.
[[nodiscard]] bool isSuccess(const CurlObject& transfer, json::Document& answer,
                             const CloudLog& log);

}  // namespace tolk
