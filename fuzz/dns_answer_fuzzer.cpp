// The readers of DNS answers against arbitrary messages: no crash, sorted records, no empty host.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/net/dns_records.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view message(reinterpret_cast<const char*>(data), size);
  for (auto* read : {&tolk::readServiceRecords, &tolk::readPointerRecords}) {
    try {
      const tolk::HostPortList list = read(message);
      const bool sorted = std::is_sorted(
          list.begin(), list.end(),
          [](const auto& left, const auto& right) { return left.priority < right.priority; });
      const bool named = std::none_of(list.begin(), list.end(),
                                      [](const auto& entry) { return entry.host.empty(); });
      if (!sorted || !named) std::abort();
    } catch (const tolk::BadDataException&) {
    }
  }
  return 0;
}
