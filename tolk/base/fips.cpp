// The kernel says so in /proc/sys/crypto/fips_enabled.
#include "tolk/base/fips.h"

#include "tolk/base/exceptions.h"
#include "tolk/base/file.h"
#include "tolk/base/text.h"

namespace tolk {

bool fipsEnabledIn(const std::string& path) {
  constexpr std::size_t kLimitBytes = 64;
  try {
    return trim(readRegularFile(path, kLimitBytes)) == "1";
  } catch (const IOException&) {
    return false;
  }
}

bool FIPSHelper::isStarted() {
  return fipsEnabledIn("/proc/sys/crypto/fips_enabled");
}

}  // namespace tolk
