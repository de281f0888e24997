#include "tolk/base/fips.h"

#include <fstream>

namespace tolk {

bool FIPSHelper::isStarted() {
  std::ifstream file("/proc/sys/crypto/fips_enabled");
  return file.get() == '1';
}

}  // namespace tolk
