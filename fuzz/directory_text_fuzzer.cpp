// Distinguished names, identifiers and values for filters, as texts of a directory, a join setting
// or a command line. The first byte chooses which.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/dn.h"
#include "tolk/ldap/guid.h"
#include "tolk/ldap/sid.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void takeName(const std::string& name) {
  (void)tolk::DN::domainFromDN(name);
  (void)tolk::DN::canonicalFromDN(name);
  const std::string parent = tolk::DN::parentOf(name);
  // A component of several values is like no other.
  if (!parent.empty() && name.find('+') == std::string::npos) {
    require(tolk::DN::isWithin(name, parent));
  }
}

/// What stands escaped in a name or a filter is one value there.
void takeValue(const std::string& value) {
  const std::string filter = tolk::DN::escapeLDAPFilter(value);
  require(filter.find_first_of(std::string_view("*()\0", 4)) == std::string::npos);
  if (value.empty() || !tolk::isUtf8(value)) return;
  const std::string name = "CN=" + tolk::DN::escapeValue(value) + ",DC=lab";
  require(tolk::DN::parentOf(name) == "DC=lab" && tolk::DN::isWithin(name, "DC=lab"));
}

void takeIdentifier(std::string_view bytes) {
  (void)tolk::guidText(bytes);
  for (const bool binary : {false, true}) {
    try {
      const tolk::SID sid = binary ? tolk::SID::fromBinary(bytes) : tolk::SID(bytes);
      require(tolk::SID(sid.toString()) == sid && !sid.isOfDomain(sid));
    } catch (const tolk::BadDataException&) {
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  try {
    if (data[0] % 3 == 0) takeName(text);
    if (data[0] % 3 == 1) takeValue(text);
    if (data[0] % 3 == 2) takeIdentifier(text);
  } catch (const tolk::SystemException&) {
  }
  return 0;
}
