// What all clients of the cloud platform share: their base, and the words of its REST interface.
#pragma once

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

// Versions of the interface
inline constexpr char CLOUD_REST_API_VERSION_V0[] = "0";
inline constexpr char CLOUD_REST_API_VERSION_V1[] = "1.0";
inline constexpr char CLOUD_REST_API_VERSION_V1S[] = "1.0S";
inline constexpr char CLOUD_MFA_API_VERSION[] = "2.0";

// Paths below the platform's address, all versions
inline constexpr char CLOUD_RESTAPI_SYSINFO_VERSION[] = "sysinfo/version";
inline constexpr char CLOUD_RESTAPI_IWA_SITECHECK[] = "iwa/SiteCheck";
inline constexpr char CLOUD_RESTAPI_SSO[] = "security/sso";
inline constexpr char CLOUD_RESTAPI_START_IMPERSONATE[] = "security/startimpersonate";
inline constexpr char CLOUD_RESTAPI_START_CHALLENGE[] = "security/startchallenge";
inline constexpr char CLOUD_RESTAPI_MFA_LOGIN[] = "tqsintegration/mfalogin";
inline constexpr char CLOUD_RESTAPI_KRUN_EXECUTE[] = "tqsintegration/krunexecute";
inline constexpr char CLOUD_RESTAPI_LOG_PRIVEVENT[] = "tqsintegration/LogPrivEvent";
// version 1
inline constexpr char CLOUD_RESTAPI_STARTAUTH[] = "security/StartAuthentication";
inline constexpr char CLOUD_RESTAPI_ADVANCEAUTH[] = "security/AdvanceAuthentication";
// version 0
inline constexpr char CLOUD_RESTAPI_GET_AUTH_POLICY[] = "security/GetAuthPolicy";
inline constexpr char CLOUD_RESTAPI_MULTI_AUTH_LOGIN[] = "security/MultiAuthLogin";
inline constexpr char CLOUD_RESTAPI_MOVE_TO_NEXT_PAGE[] = "security/MoveToNextLoginPage";

/// The cookie of a machine or user that is signed on.
inline constexpr char CLOUD_AUTH_COOKIE[] = ".ASPXAUTH";

// Members of answers and requests, all versions
inline constexpr char JSON_MEMBER_RESULT[] = "Result";
inline constexpr char JSON_MEMBER_SUCCESS[] = "success";
inline constexpr char JSON_MEMBER_SITECHECK_RESULT[] = "result";
inline constexpr char JSON_MEMBER_OTC[] = "otc";
inline constexpr char JSON_MEMBER_ERROR_CODE[] = "ErrorCode";
inline constexpr char JSON_MEMBER_ERROR_ID[] = "ErrorID";
inline constexpr char JSON_MEMBER_MESSAGE[] = "Message";
inline constexpr char JSON_MEMBER_MESSAGE_ID[] = "MessageID";
inline constexpr char JSON_MEMBER_REASON[] = "Reason";
inline constexpr char JSON_MEMBER_USERNAME[] = "username";
inline constexpr char JSON_MEMBER_POD_FQDN[] = "PodFqdn";

// Members and values of version 1
inline constexpr char JSON_MEMBER_VERSION[] = "Version";
inline constexpr char JSON_MEMBER_TENANT_ID[] = "TenantId";
inline constexpr char JSON_MEMBER_SESSION_ID[] = "SessionId";
inline constexpr char JSON_MEMBER_NEW_USER[] = "User";
inline constexpr char JSON_MEMBER_CHALLENGES[] = "Challenges";
inline constexpr char JSON_MEMBER_MECHANISMS[] = "Mechanisms";
inline constexpr char JSON_MEMBER_SUMMARY[] = "Summary";
inline constexpr char JSON_MEMBER_ANSWER_TYPE[] = "AnswerType";
inline constexpr char JSON_MEMBER_NAME[] = "Name";
inline constexpr char JSON_MEMBER_MECHANISMID[] = "MechanismId";
inline constexpr char JSON_MEMBER_CUSTOM_CLIENT_INFO[] = "CustomClientInfo";
inline constexpr char JSON_MEMBER_EMAIL_TYPE[] = "EmailType";
inline constexpr char JSON_MEMBER_EMAIL_PARTIAL_ADDRESS[] = "PartialAddress";
inline constexpr char JSON_MEMBER_SMS_PARTIAL_DEVICE_ADDRESS[] = "PartialDeviceAddress";
inline constexpr char JSON_MEMBER_SQ_QUESTION[] = "Question";
inline constexpr char JSON_MEMBER_PF_PHONE_TYPE[] = "PhoneType";
inline constexpr char JSON_MEMBER_PF_PARTIAL_PHONE_NUMBER[] = "PartialPhoneNumber";
inline constexpr char JSON_MEMBER_ACTION[] = "Action";
inline constexpr char JSON_MEMBER_ANSWER[] = "Answer";
inline constexpr char JSON_VAL_ACTION_ANSWER[] = "Answer";
inline constexpr char JSON_VAL_ACTION_STARTOOB[] = "StartOOB";
inline constexpr char JSON_VAL_ACTION_POLL[] = "Poll";
inline constexpr char JSON_VAL_SUMMARY_START_NEXT_CHALLENGE[] = "StartNextChallenge";
inline constexpr char JSON_VAL_SUMMARY_OOB_PENDING[] = "OobPending";
inline constexpr char JSON_VAL_SUMMARY_LOGIN_SUCCESS[] = "LoginSuccess";
inline constexpr char JSON_VAL_SUMMARY_SUCCESS[] = "Success";
inline constexpr char JSON_VAL_SUMMARY_FAILURE[] = "Failure";
inline constexpr char JSON_VAL_SUMMARY_NEW_MFA_PACKAGE[] = "NewPackage";

// Mechanisms
inline constexpr char CLOUD_MECH_UP[] = "UP";
inline constexpr char CLOUD_MECH_OTP[] = "OTP";
inline constexpr char CLOUD_MECH_SQ[] = "SQ";
inline constexpr char CLOUD_MECH_EMAIL[] = "EMAIL";
inline constexpr char CLOUD_MECH_SMS[] = "SMS";
inline constexpr char CLOUD_MECH_PHONE[] = "PF";
inline constexpr char CLOUD_MECH_PHONE_HOME[] = "PF_HOME";
inline constexpr char CLOUD_MECH_PHONE_OFFICE[] = "PF_OFFICE";
inline constexpr char CLOUD_MECH_PHONE_MOBILE[] = "PF_MOBILE";
inline constexpr char CLOUD_MECH_PF_TYPE[] = "PFType";
inline constexpr char CLOUD_MECH_RESET[] = "RESET";

}  // namespace tolk
