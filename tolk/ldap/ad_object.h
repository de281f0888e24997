// A directory object in memory: its distinguished name and its attributes by name.
#pragma once

#include <boost/shared_ptr.hpp>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "tolk/ldap/ad_attribute.h"

namespace tolk {

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
