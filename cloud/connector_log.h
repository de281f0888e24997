// The logger of the connector search.
#pragma once

#include "cloud/cloud_log.h"

namespace tolk {

inline constexpr CloudLog logConnector{"base.cloudconnector.locator"};

}  // namespace tolk
