// A stand-in, where there is one, counts instead of the configured value.
#include "tolk/net/limits.h"

#include <cstdint>
#include <map>
#include <string_view>

#include "tolk/base/properties.h"

namespace tolk {
namespace {

struct StandIn {
  std::chrono::milliseconds limit;
  std::string source;
};

std::map<std::string_view, StandIn>& standIns() {
  static std::map<std::string_view, StandIn> all;
  return all;
}

}  // namespace

std::chrono::milliseconds configuredLimit(const Property& property) {
  const auto found = standIns().find(property.key);
  if (found != standIns().end()) return found->second.limit;
  return std::chrono::milliseconds(Props().getLimitMs(property));
}

std::string limitSource(const Property& property) {
  const auto found = standIns().find(property.key);
  return found != standIns().end() ? found->second.source : std::string(property.key);
}

ScopedLimits::~ScopedLimits() {
  standIns().clear();
}

void ScopedLimits::set(std::initializer_list<const Property*> properties,
                       std::chrono::milliseconds limit, const std::string& source) {
  for (const Property* property : properties) standIns()[property->key] = {limit, source};
}

// What is left of a limit is a few milliseconds off the round figure that was configured.
std::string limitText(std::chrono::milliseconds limit) {
  using Tenths = std::chrono::duration<std::int64_t, std::deci>;
  if (limit >= std::chrono::seconds(1)) limit = std::chrono::round<Tenths>(limit);
  std::string text = std::to_string(limit.count() / 1000);
  if (const auto rest = limit.count() % 1000; rest != 0) {
    const std::string digits = std::to_string(1000 + rest).substr(1);
    text += '.' + digits.substr(0, digits.find_last_not_of('0') + 1);
  }
  return text + " s";
}

}  // namespace tolk
