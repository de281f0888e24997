// The binary form is a header, six bytes of authority and 32-bit numbers (MS-DTYP 2.4.2).
#include "tolk/ldap/sid.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr std::size_t kMaxSubAuthorities = 15;
constexpr std::size_t kHeaderBytes = 8;  // revision, count, six bytes of authority
constexpr std::uint64_t kMaxAuthority = (std::uint64_t{1} << 48) - 1;
constexpr std::size_t kShownCharacters = 100;

[[noreturn]] void throwBad(std::string_view text) {
  throw BadDataException("'" + printable(text.substr(0, kShownCharacters)) +
                         "' is not a security identifier");
}

// Authorities from 2^32 on are written in hexadecimal (MS-DTYP 2.4.2.1).
std::uint64_t parseAuthority(std::string_view digits, std::string_view whole) {
  const bool hex = digits.starts_with("0x") || digits.starts_with("0X");
  if (hex) digits.remove_prefix(2);
  std::uint64_t value = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value, hex ? 16 : 10);
  if (error != std::errc() || stop != end || value > kMaxAuthority) throwBad(whole);
  return value;
}

std::uint32_t parseSubAuthority(std::string_view digits, std::string_view whole) {
  std::uint32_t value = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value);
  if (error != std::errc() || stop != end) throwBad(whole);
  return value;
}

std::string hexText(std::uint64_t value) {
  char digits[16];
  const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), value, 16);
  return "0x" + std::string(std::begin(digits), end);
}

}  // namespace

SID::SID(std::string_view text) {
  const std::vector<std::string> fields = split(text, '-');
  if (fields.size() < 4 || fields.size() > 3 + kMaxSubAuthorities || toUpper(fields[0]) != "S" ||
      fields[1] != "1") {
    throwBad(text);
  }
  authority_ = parseAuthority(fields[2], text);
  std::for_each(fields.begin() + 3, fields.end(), [&](const std::string& field) {
    subAuthorities_.push_back(parseSubAuthority(field, text));
  });
}

SID SID::fromBinary(std::string_view bytes) {
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  if (bytes.size() < kHeaderBytes + 4 || byteAt(0) != 1 || byteAt(1) < 1 ||
      byteAt(1) > kMaxSubAuthorities || bytes.size() != kHeaderBytes + std::size_t{4} * byteAt(1)) {
    throwBad(bytes);
  }
  SID sid;
  for (std::size_t i = 2; i < kHeaderBytes; ++i) sid.authority_ = sid.authority_ << 8 | byteAt(i);
  for (std::size_t i = kHeaderBytes; i < bytes.size(); i += 4) {
    std::uint32_t value = 0;
    for (std::size_t k = 4; k-- > 0;) value = value << 8 | byteAt(i + k);
    sid.subAuthorities_.push_back(value);
  }
  return sid;
}

std::string SID::toString() const {
  std::string text = "S-1-";
  text += authority_ >> 32 == 0 ? std::to_string(authority_) : hexText(authority_);
  for (const std::uint32_t value : subAuthorities_) text += "-" + std::to_string(value);
  return text;
}

bool SID::isOfDomain(const SID& domain) const {
  return authority_ == domain.authority_ &&
         subAuthorities_.size() == domain.subAuthorities_.size() + 1 &&
         std::equal(domain.subAuthorities_.begin(), domain.subAuthorities_.end(),
                    subAuthorities_.begin());
}

std::string SID::toDN() const {
  return "<SID=" + toString() + ">";
}

}  // namespace tolk
