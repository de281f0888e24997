// Whether the host runs in FIPS mode.
#pragma once

#include <string>

namespace tolk {

/// Questions about FIPS mode.
struct FIPSHelper {
  /// Whether the kernel runs in FIPS mode: /proc/sys/crypto/fips_enabled holds 1. A kernel without
  /// that file has no such mode.
  static bool isStarted();
};

/// The same from the file at `path`; false when it is missing or unreadable.
bool fipsEnabledIn(const std::string& path);

}  // namespace tolk
