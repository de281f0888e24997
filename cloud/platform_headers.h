// The headers by which the platform knows the agent.
#pragma once

#include "cloud/curl_object.h"

namespace tolk {

/// Adds those that go with every request.
inline void addPlatformHeaders(CurlObject& transfer) {
  transfer.addHeader("Content-Type", "application/json");
  transfer.addHeader("X-PELLION-NATIVE-CLIENT", "1");
  transfer.addHeader("X-PLN-SRC", "TQS");
}

}  // namespace tolk
