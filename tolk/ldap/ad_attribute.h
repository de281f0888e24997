// One attribute of a directory object: its values as the byte strings that the server sent.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tolk {

/// An attribute that is either absent, or present with any number of values. Values may hold any
/// bytes, NUL included. Reading a value that is not there, or not of the asked type, throws
/// SystemException, whose text shows at most the value's first characters.
class ADAttribute {
 public:
  /// Absent.
  ADAttribute() = default;
  /// Present with these values.
  explicit ADAttribute(std::vector<std::string> values);

  ADAttribute& operator=(int value);
  ADAttribute& operator=(std::string value);
  ADAttribute& operator=(std::vector<std::string> values);

  [[nodiscard]] bool present() const noexcept { return present_; }
  /// No values: absent, or sent without any.
  [[nodiscard]] bool empty() const noexcept { return values_.empty(); }
  [[nodiscard]] const std::vector<std::string>& values() const noexcept { return values_; }

  /// The first value; an empty value is a value.
  [[nodiscard]] const std::string& toString() const;
  // NOLINTNEXTLINE(google-explicit-constructor): an attribute reads as its first value
  operator std::string() const { return toString(); }

  /// The first value as a decimal integer with optional minus sign and nothing else
  /// (MS-ADTS 3.1.1.2.2.2, Integer and LargeInteger).
  [[nodiscard]] int toInt() const;
  [[nodiscard]] std::int64_t toInt64() const;
  /// The same for sets of bits: 0 to 2^32-1; the negative numbers that signed 32-bit attributes
  /// show for bit 31 give their bits.
  [[nodiscard]] std::uint32_t toUInt() const;

 private:
  std::vector<std::string> values_;
  bool present_ = false;
};

}  // namespace tolk
