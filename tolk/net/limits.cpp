#include "tolk/net/limits.h"

#include "tolk/base/properties.h"

namespace tolk {

std::chrono::milliseconds configuredLimit(const Property& property) {
  return std::chrono::milliseconds(Props().getLimitMs(property));
}

std::string limitText(std::chrono::milliseconds limit) {
  std::string text = std::to_string(limit.count() / 1000);
  if (const auto rest = limit.count() % 1000; rest != 0) {
    const std::string digits = std::to_string(1000 + rest).substr(1);
    text += '.' + digits.substr(0, digits.find_last_not_of('0') + 1);
  }
  return text + " s";
}

}  // namespace tolk
