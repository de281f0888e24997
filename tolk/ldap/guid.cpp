// Three little-endian numbers and two runs of bytes (MS-DTYP 2.3.4).
#include "tolk/ldap/guid.h"

#include <array>

#include "tolk/base/text.h"

namespace tolk {

std::string guidText(std::string_view bytes) {
  // The first three groups are little-endian numbers, the others are bytes in their order.
  static constexpr std::array<std::size_t, 16> kOrder{3, 2, 1,  0,  5,  4,  7,  6,
                                                      8, 9, 10, 11, 12, 13, 14, 15};
  if (bytes.size() != kOrder.size()) return {};
  std::string text = "{";
  for (std::size_t i = 0; i < kOrder.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += hexByte(static_cast<unsigned char>(bytes[kOrder.at(i)]));
  }
  return text + '}';
}

}  // namespace tolk
