// The web proxy of the cloud transfers: one record for the process, made from the configuration and
// the stored credential.
#pragma once

#include <string>

#include "tolk/base/shredder.h"

namespace tolk {

/// Where transfers go through, and as whom.
struct HttpProxy {
  std::string server;    ///< "host:port"; "" without a proxy
  std::string authType;  ///< a word of proxyAuthMask(); "" when the proxy asks for no user
  std::string user;      ///< kMachineUser stands for the computer account
  Shredder password;
  bool usable = true;  ///< false when the settings cannot work
};

/// Whether both are the same server, logged on to in the same way by the same credential.
[[nodiscard]] bool sameProxy(const HttpProxy& one, const HttpProxy& other);

/// The user name that stands for the computer account: the security identifier of Local System
/// (MS-DTYP 2.4.2.4).
inline constexpr const char* kMachineUser = "S-1-5-18";

/// The name of the stored credential (ProtectedCredential).
inline constexpr const char* kProxyCredentialName = "httpproxy";

/// Rebuilds the record from the configuration. Bad settings are recorded in the log and mark it.
void UpdateCloudHttpProxy();

/// A copy of the record as it was last rebuilt.
[[nodiscard]] HttpProxy getProxySettings();

/// What transfers are to use now: nothing with a direct connection or unusable settings; without a
/// configured proxy the current cloud connector, which asks for no user.
[[nodiscard]] HttpProxy getCloudProxy();

/// Whether getCloudProxy() is a cloud connector: then another one may do where it fails.
[[nodiscard]] bool usesCloudConnector();

}  // namespace tolk
