// The readers of the zone layouts: each lists the zones that are kept in its layout.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tolk/ldap/ad_object.h"

namespace tolk {

class ADBinding;

/// What the three readers have in common.
class ZoneReader {
 public:
  /// The zones of this layout at and below `base`, in the directory's order, read in pages of
  /// PN::TOLKD_PAGED_SEARCH_MAX. An empty base is everything that the server holds: the forest on a
  /// global catalog, else the server's domain. Each object carries AD_DISPLAY_NAME, the version
  /// marker, and TOLK_ZONE_NAME, its name. All or nothing: throws LDAPException when any page
  /// fails.
  [[nodiscard]] boost::shared_ptr<ADObjectList> getZoneList(ADBinding& binding,
                                                            const std::string& base) const;

  /// The filter of that search (RFC 4515).
  [[nodiscard]] std::string filter() const;

 protected:
  /// `layouts` are the names that a zone's description may give behind kLayoutPrefix; with
  /// `unnamedToo`, zones whose description gives none are listed as well.
  explicit ZoneReader(std::vector<std::string_view> layouts, bool unnamedToo = false)
      : layouts_(std::move(layouts)), unnamedToo_(unnamedToo) {}
  ~ZoneReader() = default;

 private:
  std::vector<std::string_view> layouts_;
  bool unnamedToo_;
};

/// The standard layout: zones of generation `schema` (SCHEMA_ORV_V1_0 or SCHEMA_ORV_V2_0) and those
/// before it, among them the ones that are older than the note of the layout. The other arguments
/// of the readers are reserved.
class ORVSchema : public ZoneReader {
 public:
  ORVSchema(int reserved, const std::string& schema, const std::string& server, unsigned flags);
};

/// The layout with the attributes of RFC 2307.
class ORVSchemaR2 : public ZoneReader {
 public:
  ORVSchemaR2(int reserved, const std::string& server, unsigned flags);
};

/// The layout of Services for UNIX: the zones of SCHEMA_SFU_V3_0, and SCHEMA_SFU_V3_0V1.
class SFUSchema : public ZoneReader {
 public:
  SFUSchema(int reserved, const std::string& schema, const std::string& server, unsigned flags);
};

}  // namespace tolk
