// The reader of netlogon records against arbitrary values. Besides not crashing it must keep names
// within 255 bytes and give the same for the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/net/netlogon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view value(reinterpret_cast<const char*>(data), size);
  try {
    const tolk::NetlogonAnswer answer = tolk::parseNetlogonAnswer(value);
    for (const std::string* name :
         {&answer.forest, &answer.domain, &answer.host, &answer.user, &answer.netbiosDomain,
          &answer.netbiosHost, &answer.dcSite, &answer.clientSite}) {
      if (name->size() > 255) std::abort();
    }
    if (tolk::parseNetlogonAnswer(value).clientSite != answer.clientSite) std::abort();
  } catch (const tolk::BadDataException&) {
  }
  return 0;
}
