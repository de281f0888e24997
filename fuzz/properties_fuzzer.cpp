// The configuration file's parser against arbitrary bytes. Besides not crashing it must keep what
// orvald.conf(5) promises: keys and values are trimmed, no key is empty, a value written out as a
// line of its own is read back.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

// Whether the pair survives being written as one line: a key may begin like a comment where it was
// continued, and a value may hold what ends or continues a line.
bool isPlain(std::string_view key, std::string_view value) {
  return !key.starts_with('#') && !value.ends_with('\\') && !key.starts_with("\xEF\xBB\xBF");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tolk::Properties properties;
  properties.parse({reinterpret_cast<const char*>(data), size});
  for (const auto& [key, value] : properties.all()) {
    require(!key.empty() && tolk::trim(key) == key && tolk::trim(value) == value);
    require(key.find(':') == std::string::npos && value.find('\n') == std::string::npos);
    require(tolk::isUtf8(tolk::EscapeSpecialChars(value)));
    (void)properties.getTime(key, 's', 1);
    properties.set(tolk::PN::VELKD_RPC_TIMEOUT, value);
    (void)properties.getBool(tolk::PN::VELKD_RPC_TIMEOUT);
    const int limit = properties.getLimitMs(tolk::PN::VELKD_RPC_TIMEOUT);
    require(limit >= 100 && limit <= 3600000);
    if (!isPlain(key, value)) continue;
    tolk::Properties again;
    again.parse(key + ": " + value + "\n");
    require(again.getProperty(key, "absent") == value);
  }
  return 0;
}
