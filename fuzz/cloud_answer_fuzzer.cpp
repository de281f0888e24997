// An answer of the cloud platform: JSON and the policy in it. Each mechanism of a policy that is
// accepted has a text and a prompt.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "cloud/http/cloud_object.h"
#include "cloud/signon/cloud_json.h"
#include "cloud/signon/mfa_policy.h"
#include "tolk/base/exceptions.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const tolk::json::Document answer =
        tolk::json::parse({reinterpret_cast<const char*>(data), size});
    (void)tolk::textMember(answer, tolk::JSON_MEMBER_ERROR_ID);
    const tolk::json::Value* result = tolk::json::findMember(answer, tolk::JSON_MEMBER_RESULT);
    if (result == nullptr) return 0;
    const tolk::MfaPolicy policy = tolk::readPolicyV1(*result);
    if (policy.challenges.empty()) std::abort();
    for (const tolk::MfaChallenge& challenge : policy.challenges) {
      for (const tolk::MfaMechanism& mechanism : challenge.mechanisms) {
        (void)tolk::selectText(mechanism);
        if (tolk::answerPrompt(mechanism).empty()) std::abort();
      }
    }
  } catch (const tolk::Base_Exception&) {
  }
  return 0;
}
