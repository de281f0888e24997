// An attribute of a directory object as one kind of value, or why there is none.
#pragma once

#include <optional>
#include <string>

#include "tolk/ldap/ad_object.h"

namespace joinscope {

template <typename Value>
struct Reading {
  std::optional<Value> value;
  bool missing = false;  ///< the object does not have the attribute
  std::string problem;   ///< it has a value of another kind: what was found
};

/// The first value. An object without any attribute, which has not been read, gives neither a value
/// nor a reason, here and below.
Reading<std::string> readText(const tolk::ADObject& object, const std::string& name);
Reading<int> readNumber(const tolk::ADObject& object, const std::string& name);

/// The first value, a distinguished name, as the DNS name of its domain.
Reading<std::string> readDomain(const tolk::ADObject& object, const std::string& name);

}  // namespace joinscope
