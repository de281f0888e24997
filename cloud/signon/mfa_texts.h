// What people are told when the platform does not authenticate a user; %s is the user's name.
#pragma once

namespace tolk {

/// The connector answers, but not as its site check does.
inline constexpr char kIwaServiceInDoubt[] =
    "Pellion Identity Platform failed to authenticate this computer through the Pellion "
    "Connector. Please verify that 'Web Server (IWA)' is an enabled service for the Pellion "
    "Connector in the Admin Portal. If 'Web Server (IWA)' is already enabled, please contact "
    "Pellion support for help.";

/// The connector or the platform does not answer.
inline constexpr char kNetworkInDoubt[] =
    "Pellion Identity Platform failed to authenticate this computer through the Pellion "
    "Connector. Please verify network connectivity and that 'Web Server (IWA)' is an enabled "
    "service for the Pellion Connector in the Admin Portal. If there is no network "
    "connectivity issues and 'Web Server (IWA)' is already enabled, please contact Pellion "
    "support for help.";

/// The machine was refused.
inline constexpr char kMachineRefused[] =
    "Pellion Identity Platform failed to authenticate the UNIX server. Please contact Pellion "
    "support for help.";

/// The machine may not speak for users.
inline constexpr char kRightMissing[] =
    "Pellion MFA Service cannot provide service to this computer because the 'Computer Right "
    "and Privilege Elevation' administrative right was not granted to this computer. Add the "
    "'Computer Right and Privilege Elevation' administrative right to the current role or "
    "assign the computer to another role that has this right. If the problem persists after "
    "the right is granted, contact Pellion Support for help.";

/// For the administrator: nothing says how users of privileged commands are authenticated.
inline constexpr char kNoCommandProfile[] =
    "Pellion MFA Service failed because there was an error in locating the authentication "
    "profile for privilege elevation command execution (krun). Verify that you have specified "
    "an authentication profile for Harbor Suite Authentication from the Settings tab. If you "
    "have selected an authentication profile for the 'Privilege Elevation Profile' setting, "
    "contact Pellion Support for help.";

/// The same for the user.
inline constexpr char kNoCommandProfileFor[] =
    "Pellion MFA Service cannot authenticate user '%s' because there was an error in locating "
    "the authentication profile for privilege elevation command execution (krun). Contact "
    "Pellion Support for help.";

/// For the administrator: nothing says how users who log in are authenticated.
inline constexpr char kNoLoginProfile[] =
    "Pellion MFA Service failed because there was an error in locating the authentication "
    "profile for server login. Verify that you have specified an authentication profile for "
    "Harbor Suite Authentication from the Settings tab.  If you have selected an "
    "authentication profile for the 'Server Authentication Profile' setting, contact Pellion "
    "Support for help in resolving this issue.";

/// The same for the user.
inline constexpr char kNoLoginProfileFor[] =
    "Pellion MFA Service cannot authenticate user '%s' because there was an error in locating "
    "the authentication profile for server login. Contact Pellion Support for help.";

/// The user could not be asked.
inline constexpr char kChallengeFailedFor[] =
    "Pellion Identity Platform failed to authenticate user '%s'. To resolve this issue, verify "
    "that user accounts are configured with appropriate information to respond to the "
    "authentication challenges, such as an email address, phone number, or security question. "
    "If the account information is configured correctly, contact Pellion Support for help in "
    "resolving this issue.";

}  // namespace tolk
