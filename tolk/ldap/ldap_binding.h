// Anonymous LDAP connection to one directory server, and the reads that every kind of binding
// offers.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "tolk/ldap/ad_object.h"
#include "tolk/ldap/paged_object_list.h"
#include "tolk/ldap/search_request.h"

namespace tolk {

class LdapConnection;

/// A connection to one server. Without an open connection every read throws LDAPException; a
/// connection that was lost is opened anew by the next read. Referrals are not followed, and
/// neither ldap.conf(5) nor LDAP environment variables change anything. Not for use by several
/// threads.
class LDAPBinding {
 public:
  LDAPBinding();
  LDAPBinding(const LDAPBinding&) = delete;
  LDAPBinding& operator=(const LDAPBinding&) = delete;
  virtual ~LDAPBinding();

  /// Opens an anonymous connection to "host" or "host:port" (389 when it is left out). Takes at
  /// most one host lookup and PN::LDAP_CONNECT_TIMEOUT. Throws LDAPException when the host is
  /// unknown or no address answers, DNSUnavailableException when no DNS server does.
  void connectToServer(const std::string& hostAndPort);

  /// Reads one object. `attributes` is a null-terminated list, null asks for all; "" as `dn` reads
  /// the root DSE. An object that does not exist, may not be seen or does not match `filter` is the
  /// no-object value or, with `mustExist`, a NotFoundException. Throws LDAPException on any other
  /// failure.
  [[nodiscard]] ADObject fetch(const std::string& dn, const char* const* attributes,
                               const std::string& filter, bool mustExist);

  /// All objects under `base` that match, in the server's order; the list may be empty, the pointer
  /// is not. Zeros stand for the defaults of SearchRequest. Throws LDAPException, also when the
  /// server cut the result short.
  [[nodiscard]] boost::shared_ptr<ADObjectList> search(const std::string& filter,
                                                       const std::string& base,
                                                       const char* const* attributes, int scope,
                                                       int timeLimitSeconds, int sizeLimit,
                                                       int flags);

  /// The same in pages of `pageSize` objects (RFC 2696); the first page is read before this
  /// returns. The binding must outlive the list.
  [[nodiscard]] PagedObjectList searchPaged(int pageSize, const std::string& filter,
                                            const std::string& base, const char* const* attributes,
                                            int scope, int timeLimitSeconds, int flags);

  /// "lab.test" to "DC=lab,DC=test"; "" to "".
  [[nodiscard]] static std::string DNSNameToDN(const std::string& name);

  /// "host:port" of the server, "" before the first connection.
  [[nodiscard]] const std::string& serverName() const noexcept { return server_; }

  /// The open connection, for the readers of this folder; opens a lost one again.
  [[nodiscard]] const std::shared_ptr<LdapConnection>& connection();

 protected:
  /// Runs one search to its end. Throws LDAPException.
  virtual ADObjectList run(const SearchRequest& request);
  /// Opens the connection to the server of before again.
  virtual void reopen();
  /// Takes over an open connection.
  void adopt(std::shared_ptr<LdapConnection> connection);

 private:
  std::shared_ptr<LdapConnection> connection_;
  std::string server_;
};

}  // namespace tolk
