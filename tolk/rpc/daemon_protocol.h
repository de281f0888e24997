// Names on the daemon channel and the messages made of them, shared by both ends.
// docs/daemon-protocol.md describes them.
#pragma once

#include <string>
#include <string_view>

#include "tolk/base/json.h"

namespace tolk {

namespace daemon_method {
inline constexpr std::string_view kAuthenticate = "org.orvald.velkd.Authenticate";
inline constexpr std::string_view kFetchObject = "org.orvald.velkd.FetchObject";
inline constexpr std::string_view kGetCurrentDC = "org.orvald.velkd.GetCurrentDC";
inline constexpr std::string_view kGetSystemInfo = "org.orvald.velkd.GetSystemInfo";
inline constexpr std::string_view kGetDomainIdentifiers = "org.orvald.velkd.GetDomainIdentifiers";
inline constexpr std::string_view kGetCloudInstance = "org.orvald.velkd.GetCloudInstance";
inline constexpr std::string_view kLogPrivilegeEvent = "org.orvald.velkd.LogPrivilegeEvent";
inline constexpr std::string_view kStartMfa = "org.orvald.velkd.StartMfa";
inline constexpr std::string_view kAdvanceMfa = "org.orvald.velkd.AdvanceMfa";
inline constexpr std::string_view kEndMfa = "org.orvald.velkd.EndMfa";
inline constexpr std::string_view kGetInfo = "org.varlink.service.GetInfo";
inline constexpr std::string_view kGetInterfaceDescription =
    "org.varlink.service.GetInterfaceDescription";
}  // namespace daemon_method

namespace daemon_error {
inline constexpr std::string_view kPermissionDenied = "org.orvald.velkd.PermissionDenied";
inline constexpr std::string_view kNotJoined = "org.orvald.velkd.NotJoined";
inline constexpr std::string_view kDirectoryFailed = "org.orvald.velkd.DirectoryFailed";
inline constexpr std::string_view kStillGathering = "org.orvald.velkd.StillGathering";
inline constexpr std::string_view kCloudFailed = "org.orvald.velkd.CloudFailed";
inline constexpr std::string_view kMethodNotFound = "org.varlink.service.MethodNotFound";
inline constexpr std::string_view kInterfaceNotFound = "org.varlink.service.InterfaceNotFound";
inline constexpr std::string_view kInvalidParameter = "org.varlink.service.InvalidParameter";
}  // namespace daemon_error

inline constexpr char kDaemonDirectory[] = "/var/orvald/daemon";
inline constexpr std::string_view kDaemonSocketName = "velkd.sock";

/// The text of a call. `parameters` is an object. Throws BadDataException when a string in it is
/// not UTF-8.
std::string encodeCall(std::string_view method, const json::Value& parameters);

/// The text of a good answer, and of an error.
std::string encodeReply(const json::Value& parameters);
std::string encodeError(std::string_view error, const json::Value& parameters);

/// The parameters of an answer, an empty object when it has none. Throws IPCException: kErrorAnswer
/// with the error's name and its parameter "message" for an error (kStillGathering for that one),
/// kBadMessage for what is no answer.
json::Document decodeReply(std::string_view text);

}  // namespace tolk
