// What all clients of the cloud platform share: their base, and the words of its REST interface.
#pragma once

#include <string>

namespace tolk {

/// A client of the platform.
class CloudBase {
 public:
  CloudBase() = default;
  CloudBase(const CloudBase&) = delete;
  CloudBase& operator=(const CloudBase&) = delete;
  /// Judges the answer of the last request: whether it was a success.
  virtual bool processResult() = 0;
  virtual ~CloudBase() = default;
};

inline constexpr char CLOUD_AUTH_COOKIE[] = ".ASPXAUTH";
inline constexpr char CLOUD_RESTAPI_IWA_SITECHECK[] = "iwa/SiteCheck";
inline constexpr char CLOUD_RESTAPI_SSO[] = "security/sso";
inline constexpr char CLOUD_RESTAPI_START_IMPERSONATE[] = "security/startimpersonate";
inline constexpr char CLOUD_RESTAPI_LOG_PRIVEVENT[] = "tqsintegration/LogPrivEvent";

inline constexpr char CLOUD_RESTAPI_SYSINFO_VERSION[] = "sysinfo/version";

inline constexpr char JSON_MEMBER_SUCCESS[] = "success";
inline constexpr char JSON_MEMBER_SITECHECK_RESULT[] = "result";
inline constexpr char JSON_MEMBER_OTC[] = "otc";
inline constexpr char JSON_MEMBER_ERROR_CODE[] = "ErrorCode";
inline constexpr char JSON_MEMBER_ERROR_ID[] = "ErrorID";
inline constexpr char JSON_MEMBER_MESSAGE[] = "Message";
inline constexpr char JSON_MEMBER_MESSAGE_ID[] = "MessageID";

}  // namespace tolk
