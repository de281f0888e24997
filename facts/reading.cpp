// One look at the attribute; what its conversion throws is the problem.
#include "facts/reading.h"

#include "tolk/base/exceptions.h"
#include "tolk/ldap/dn.h"

namespace joinscope {
namespace {

template <typename Value, typename Convert>
Reading<Value> readAs(const tolk::ADObject& object, const std::string& name, Convert convert) {
  if (object.empty()) return {};
  if (!object.attributeExists(name, true)) return {.value = {}, .missing = true, .problem = {}};
  try {
    return {.value = convert(object[name]), .missing = false, .problem = {}};
  } catch (const tolk::SystemException& failure) {
    return {.value = {}, .missing = false, .problem = failure.what()};
  }
}

}  // namespace

Reading<std::string> readText(const tolk::ADObject& object, const std::string& name) {
  return readAs<std::string>(object, name, [](const tolk::ADAttribute& a) { return a.toString(); });
}

Reading<int> readNumber(const tolk::ADObject& object, const std::string& name) {
  return readAs<int>(object, name, [](const tolk::ADAttribute& a) { return a.toInt(); });
}

Reading<std::string> readDomain(const tolk::ADObject& object, const std::string& name) {
  return readAs<std::string>(object, name, [](const tolk::ADAttribute& a) {
    return tolk::DN::domainFromDN(a.toString());
  });
}

}  // namespace joinscope
