// Bytes and their hexadecimal digits.
#pragma once

#include <string>
#include <string_view>

namespace tolk::test {

/// The bytes that pairs of digits stand for; blanks are skipped.
inline std::string fromHex(std::string_view digits) {
  std::string bytes;
  std::string pair;
  for (const char digit : digits) {
    if (digit != ' ') pair += digit;
    if (pair.size() < 2) continue;
    bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
    pair.clear();
  }
  return bytes;
}

/// In lower case.
inline std::string toHex(std::string_view bytes) {
  std::string digits;
  for (const char c : bytes) {
    digits += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
    digits += "0123456789abcdef"[static_cast<unsigned char>(c) & 15];
  }
  return digits;
}

}  // namespace tolk::test
