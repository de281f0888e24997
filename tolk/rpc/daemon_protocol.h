// Names on the daemon channel and the messages made of them, shared by both ends.
// docs/daemon-protocol.md describes them.
#pragma once

#include <cstdint>
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

/// The modules of GetSystemInfo, a bit each.
namespace daemon_module {
inline constexpr std::uint32_t kDns = 0x1;
inline constexpr std::uint32_t kDomain = 0x2;
inline constexpr std::uint32_t kNetState = 0x4;
inline constexpr std::uint32_t kAdAgent = 0x8;
inline constexpr std::uint32_t kConfig = 0x10;
inline constexpr std::uint32_t kPmon = 0x80;
inline constexpr std::uint32_t kPmonEnable = 0x100;
inline constexpr std::uint32_t kPmonDisable = 0x200;
inline constexpr std::uint32_t kZone = 0x400;
inline constexpr std::uint32_t kHealth = 0x800;
inline constexpr std::uint32_t kOrb = 0x1000;
/// Whatever there is or will be; bit 0x40 belongs to no module.
inline constexpr std::uint32_t kAll = 0xFFFFFFBF;
}  // namespace daemon_module

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
