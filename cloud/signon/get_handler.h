// Picks the client for multi-factor authentication.
#pragma once

#include <memory>

#include "cloud/signon/cloud_auth.h"

namespace tolk {

/// A client of the configured version of the REST interface, for the platform and by the way that
/// the cloud connectors and the configuration say. Throws CloudConnectorException when there is no
/// way, and BaseException when the client cannot be made.
[[nodiscard]] std::unique_ptr<CloudAuth> getHandler(const MfaRequest& request);

}  // namespace tolk
