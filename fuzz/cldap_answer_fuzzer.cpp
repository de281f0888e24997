// The decoder of connectionless LDAP answers against arbitrary datagrams. Besides not crashing it
// must not find more bytes in an answer than the datagram has.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tolk/net/cldap.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto answer = tolk::decodeCldapAnswer({reinterpret_cast<const char*>(data), size});
  if (!answer) return 0;
  std::size_t found = 0;
  for (const tolk::CldapEntry& entry : answer->entries) {
    found += entry.dn.size();
    for (const auto& [name, values] : entry.attributes) {
      found += name.size();
      for (const std::string& value : values) found += value.size();
    }
  }
  if (found > size) std::abort();
  return 0;
}
