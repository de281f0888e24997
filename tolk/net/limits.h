// The limits of waits: taken from orvald.conf(5), named in the messages of waits that they end.
#pragma once

#include <chrono>
#include <initializer_list>
#include <string>

#include "tolk/base/property_names.h"

namespace tolk {

/// The configured value of a property in seconds, at least 100 ms and at most one hour; or what
/// stands in for it.
std::chrono::milliseconds configuredLimit(const Property& property);

/// What sets that limit, for a message: the property's key, or the source of what stands in for it.
std::string limitSource(const Property& property);

/// Stands in for the configured value of some limits in the whole process while it lives. To be
/// made and destroyed while no other thread asks for a limit.
class ScopedLimits {
 public:
  ScopedLimits() = default;
  ScopedLimits(const ScopedLimits&) = delete;
  ScopedLimits& operator=(const ScopedLimits&) = delete;
  ~ScopedLimits();

  /// `source` is what messages name in place of the property.
  void set(std::initializer_list<const Property*> properties, std::chrono::milliseconds limit,
           const std::string& source);
};

/// "5 s", "0.25 s"; from one second on in tenths.
std::string limitText(std::chrono::milliseconds limit);

}  // namespace tolk
