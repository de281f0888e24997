// Distinguished names (RFC 4514) and filter values (RFC 4515).
#pragma once

#include <string>
#include <string_view>

namespace tolk {

class DN {
 public:
  /// The DNS name made of the DC components at the end of `dn` ("CN=x,DC=lab,DC=test" gives
  /// "lab.test"); "" when it has none. Throws SystemException for text that is not a distinguished
  /// name.
  [[nodiscard]] static std::string domainFromDN(const std::string& dn);

  /// The canonical form that Active Directory shows ("lab.test/Users/Jo", "lab.test/" for the
  /// domain itself; MS-ADTS 3.1.1.4.5.2): values from the root down, without their types and
  /// escapes, a slash inside a value written as "\/". Throws SystemException for text that is not a
  /// distinguished name.
  [[nodiscard]] static std::string canonicalFromDN(const std::string& dn);

  /// The name above `dn`, as it stands there; "" at the top.
  [[nodiscard]] static std::string parentOf(const std::string& dn);

  /// Whether `dn` is `container`, or lies below it, compared component by component without the
  /// case of ASCII letters; never for an empty container. Throws SystemException for text that is
  /// not a distinguished name.
  [[nodiscard]] static bool isWithin(const std::string& dn, const std::string& container);

  /// `value` as it may stand in a filter: NUL, "*", "(", ")", "\" and every byte outside printable
  /// ASCII become \hh (RFC 4515, section 3).
  [[nodiscard]] static std::string escapeLDAPFilter(std::string_view value);

  /// `value` as it may stand as the value of one component of a distinguished name (RFC 4514, 2.4).
  [[nodiscard]] static std::string escapeValue(std::string_view value);
};

}  // namespace tolk
