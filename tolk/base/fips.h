// Whether this host is restricted to approved cryptography (FIPS 140).
#pragma once

namespace tolk {

struct FIPSHelper {
  /// Whether the kernel runs in FIPS mode (/proc/sys/crypto/fips_enabled is 1); false where the
  /// kernel does not say.
  static bool isStarted();
};

}  // namespace tolk
