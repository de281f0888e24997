// The limits of waits: taken from orvald.conf(5), named in the messages of waits that they end.
#pragma once

#include <chrono>
#include <string>

#include "tolk/base/property_names.h"

namespace tolk {

/// The configured value of a property in seconds, at least 100 ms and at most one hour.
std::chrono::milliseconds configuredLimit(const Property& property);

/// "5 s", "0.25 s".
std::string limitText(std::chrono::milliseconds limit);

}  // namespace tolk
