// The result of a paged search (RFC 2696), one page in memory at a time.
#pragma once

#include <memory>
#include <string>

#include "tolk/ldap/ad_object.h"

namespace tolk {

class LdapConnection;
class SearchBudget;
struct SearchRequest;

/// The page size of the configuration: PN::TOLKD_PAGED_SEARCH_MAX, its default when that is no
/// positive number.
[[nodiscard]] int configuredPageSize();

/// Made by LDAPBinding::searchPaged. While the list is not complete(), no other paged search may
/// run on the same binding; other reads may.
class PagedObjectList {
 public:
  /// Reads the first page; throws LDAPException.
  PagedObjectList(std::shared_ptr<LdapConnection> connection, SearchRequest request, int pageSize);
  PagedObjectList(PagedObjectList&&) noexcept;
  PagedObjectList& operator=(PagedObjectList&&) noexcept;
  ~PagedObjectList();

  /// For who keeps what the pages bring: together they may bring no more than a search without
  /// pages, else nextPage() throws LDAPException.
  void keepAll() noexcept { keepsAll_ = true; }

  /// The objects of the current page. The last page may be empty.
  [[nodiscard]] ADObjectList& objects() noexcept { return objects_; }
  [[nodiscard]] const ADObjectList& objects() const noexcept { return objects_; }

  /// Whether the current page is the last.
  [[nodiscard]] bool complete() const noexcept { return cookie_.empty(); }

  /// Replaces the current page by the next; when complete, by nothing. Throws LDAPException.
  void nextPage();

 private:
  void readPage();

  std::shared_ptr<LdapConnection> connection_;
  std::unique_ptr<SearchRequest> request_;
  std::unique_ptr<SearchBudget> budget_;  ///< of all pages together
  int pageSize_;
  bool keepsAll_ = false;
  std::string cookie_;  ///< the server's place to go on from; empty at the end
  ADObjectList objects_;
};

}  // namespace tolk
