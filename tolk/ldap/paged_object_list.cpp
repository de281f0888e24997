// Each page is a search with the cookie of the one before; all of them share one budget.
#include "tolk/ldap/paged_object_list.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/ldap/ldap_connection.h"
#include "tolk/ldap/ldap_error.h"

namespace tolk {
namespace {

void freeControl(LDAPControl* control) noexcept {
  ldap_control_free(control);
}
using Control = std::unique_ptr<LDAPControl, Releaser<freeControl>>;

// Critical: a server that cannot page must say so instead of sending everything.
Control pageControl(LdapConnection& connection, int pageSize, std::string& cookie) {
  berval place{.bv_len = cookie.size(), .bv_val = cookie.data()};
  LDAPControl* control = nullptr;
  connection.throwIfFailed(
      ldap_create_page_control(connection.handle(), pageSize, &place, 1, &control));
  return Control(control);
}

}  // namespace

int configuredPageSize() {
  return static_cast<int>(
      Props().getNumber(PN::TOLKD_PAGED_SEARCH_MAX, 1, std::numeric_limits<int>::max()));
}

PagedObjectList::PagedObjectList(std::shared_ptr<LdapConnection> connection, SearchRequest request,
                                 int pageSize)
    : connection_(std::move(connection)),
      request_(std::make_unique<SearchRequest>(std::move(request))),
      budget_(std::make_unique<SearchBudget>(LdapConnection::budgetFor(*request_))),
      pageSize_(std::max(pageSize, 1)) {
  readPage();
}

PagedObjectList::PagedObjectList(PagedObjectList&&) noexcept = default;
PagedObjectList& PagedObjectList::operator=(PagedObjectList&&) noexcept = default;
PagedObjectList::~PagedObjectList() = default;

void PagedObjectList::nextPage() {
  if (complete()) {
    objects_.clear();
  } else {
    readPage();
    if (keepsAll_) connection_->throwIfOversized(*budget_);
  }
}

void PagedObjectList::readPage() {
  std::string before = std::exchange(cookie_, std::string());
  objects_.clear();
  const Control control = pageControl(*connection_, pageSize_, before);
  const int id = connection_->send(*request_, control.get());
  SearchResult page = connection_->receive(id, *request_, *budget_);
  if (page.objects.empty() && !page.cookie.empty() && page.cookie == before) {
    throwIfLdap(LDAP_PROTOCOL_ERROR, nullptr, connection_->serverName() + ", endless pages");
  }
  objects_ = std::move(page.objects);
  cookie_ = std::move(page.cookie);
}

}  // namespace tolk
