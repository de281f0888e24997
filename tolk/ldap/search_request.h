// What a directory is asked.
#pragma once

#include <string>
#include <vector>

namespace tolk {

/// How far a search reaches from its base (RFC 4511, 4.5.1.2).
struct SearchScope {
  static constexpr int base = 0;
  static constexpr int oneLevel = 1;
  static constexpr int subtree = 2;
};

/// What a search may be told beyond filter, base, attributes and scope.
struct SearchFlags {
  static constexpr int none = 0;
  static constexpr int typesOnly = 1;  ///< attributes without their values
};

/// One search (RFC 4511, 4.5.1).
struct SearchRequest {
  std::string base;
  int scope = SearchScope::base;
  std::string filter;
  std::vector<std::string> attributes;  ///< none asks for all
  int timeLimitSeconds = 0;             ///< of the whole search; 0 takes PN::LDAP_SEARCH_TIMEOUT
  int sizeLimit = 0;                    ///< most objects to return; 0 is no limit
  int flags = SearchFlags::none;
};

/// Copies a null-terminated list of attribute names; null is no names, which asks for all.
[[nodiscard]] std::vector<std::string> attributeList(const char* const* names);

}  // namespace tolk
