// The exit statuses of the command. Scripts test them, so a number never changes its meaning.
// joinscope(1) lists every one of them.
#pragma once

namespace joinscope::exit_status {

inline constexpr int kSuccess = 0;
inline constexpr int kUnknownTask = 2;          ///< the task has no handler
inline constexpr int kInternalError = 3;        ///< an agent library failure that no report catches
inline constexpr int kMiscError = 6;            ///< anything else that went wrong
inline constexpr int kUsageError = 7;           ///< wrong command line, or no domain to work on
inline constexpr int kNotRoot = 9;              ///< the task is for root only
inline constexpr int kNotJoined = 10;           ///< not joined, or the value is not known
inline constexpr int kOtherDomain = 12;         ///< the computer is joined to another domain
inline constexpr int kInvalidCredentials = 19;  ///< wrong user or password, or none to use
inline constexpr int kNoComputerObject = 23;    ///< the computer object was not found
inline constexpr int kClockSkew = 28;           ///< the clock is too far from the controller's
inline constexpr int kTicketRevoked = 56;       ///< a read-only controller revoked the ticket
inline constexpr int kPasswordChanged = 156;    ///< the keytab does not hold the account's password
inline constexpr int kMalformedKrb5Conf = 157;  ///< malformed krb5.conf, not to be moved aside
inline constexpr int kNtlmFailed = 159;         ///< an NTLM logon could not be tried
inline constexpr int kNtlmRefused = 160;        ///< a controller refused an NTLM logon
inline constexpr int kOrbConnected = 180;       ///< --orbinfo: connected to the platform
inline constexpr int kOrbNotConnected = 181;    ///< the platform does not answer
inline constexpr int kOrbThroughProxy = 182;    ///< connected through a web proxy or a connector
inline constexpr int kOrbStored = 183;          ///< told by the settings, as the daemon is down
inline constexpr int kOrbUnknown = 184;         ///< no platform is known

}  // namespace joinscope::exit_status
