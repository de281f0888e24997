// A directory object in memory: its distinguished name and its attributes, whose values are the
// byte strings that the server sent.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
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

/// Handle on one object. Copies share the object, as pointers do; a default-made handle is the
/// no-object value, which has no attributes and becomes an object when something is written to it.
/// Attribute names compare without case.
class ADObject {
 public:
  ADObject() = default;
  /// An object with a name and no attributes yet.
  explicit ADObject(std::string dn);

  /// False for the no-object value.
  [[nodiscard]] explicit operator bool() const noexcept { return impl_ != nullptr; }
  /// No object, or one without any attribute (its name does not count).
  [[nodiscard]] bool empty() const noexcept;

  /// The name the server gave; "" for the root DSE and for no object. Also to be had as the
  /// attribute AD_DN.
  [[nodiscard]] const std::string& dn() const noexcept;

  /// Whether the attribute is there; with `withValue`, whether it also has a value.
  [[nodiscard]] bool attributeExists(std::string_view name, bool withValue) const;

  /// The attribute, an absent one when the object does not have it: reading that throws
  /// SystemException, assigning to it makes it exist.
  [[nodiscard]] ADAttribute& operator[](const std::string& name);
  [[nodiscard]] ADAttribute& operator[](const char* name);
  [[nodiscard]] const ADAttribute& operator[](const std::string& name) const;
  [[nodiscard]] const ADAttribute& operator[](const char* name) const;

  /// The first value, or `fallback` when there is none. getInt throws SystemException for a value
  /// that is not a number.
  [[nodiscard]] int getInt(std::string_view name, int fallback) const;
  [[nodiscard]] std::string getString(std::string_view name, const std::string& fallback) const;
  /// All values in the server's order; none when the attribute is absent.
  [[nodiscard]] std::vector<std::string> getStrings(std::string_view name) const;

  /// Takes the attribute away; nothing happens when it is absent.
  void erase(std::string_view name);

  /// Names of the attributes that are there, in alphabetical order without regard to case.
  [[nodiscard]] std::vector<std::string> attributeNames() const;

 private:
  struct Impl;
  [[nodiscard]] const ADAttribute* find(std::string_view name) const;
  ADAttribute& findOrAdd(std::string_view name);

  boost::shared_ptr<Impl> impl_;
};

/// Objects in the order in which the server returned them.
using ADObjectList = std::list<ADObject>;

}  // namespace tolk
