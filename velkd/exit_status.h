// The exit statuses of the daemon's program. They are those that joinscope(1) uses for the same.
#pragma once

namespace velkd::exit_status {

inline constexpr int kSuccess = 0;
inline constexpr int kMiscError = 6;          ///< cannot start, or cannot adopt the join
inline constexpr int kUsageError = 7;         ///< wrong command line
inline constexpr int kNotRoot = 9;            ///< for root only
inline constexpr int kNotJoined = 10;         ///< there is no join to work on
inline constexpr int kNoObject = 23;          ///< the computer account does not exist
inline constexpr int kClockSkew = 28;         ///< the clock is too far from the controller's
inline constexpr int kPasswordChanged = 156;  ///< the keytab does not hold the account's password

}  // namespace velkd::exit_status
