// One open LDAP connection: the library's handle with every option set that matters here, requests
// on their way and answers taken in, each wait with a limit. For tolk/ldap only.
#pragma once

#include <ldap.h>
#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/ldap/ad_object.h"
#include "tolk/ldap/search_budget.h"
#include "tolk/ldap/search_request.h"
#include "tolk/net/host_port.h"

namespace tolk {

/// Sends Unbind (RFC 4511, 4.3), closes the socket and frees the session.
inline void unbindLdap(LDAP* ld) noexcept {
  ldap_unbind_ext_s(ld, nullptr, nullptr);
}

using LdapHandle = std::unique_ptr<LDAP, Releaser<unbindLdap>>;
using LdapMessage = std::unique_ptr<LDAPMessage, Releaser<ldap_msgfree>>;

/// What a search came to.
struct SearchResult {
  int code = LDAP_SUCCESS;  ///< LDAP_SUCCESS or LDAP_NO_SUCH_OBJECT; others are thrown
  ADObjectList objects;
  std::string cookie;  ///< of a page that is not the last
};

/// "host:port" or "host" taken apart; 389 where no port is named.
HostPort parseServer(const std::string& hostAndPort);
std::string serverText(const HostPort& server);

/// An LDAPException saying that `server` cannot be reached, and why.
LDAPException cannotContact(const std::string& server, const std::string& reason);

class LdapConnection {
 public:
  /// Looks the host up and connects; throws LDAPException. The connection goes by `name`, or the
  /// host's own name when that is empty.
  static std::shared_ptr<LdapConnection> open(const HostPort& server, const std::string& name = "");

  /// Takes over a connected, non-blocking socket. It stays non-blocking: with a blocking one, half
  /// a message from a server that then falls silent would stop the library's read for good.
  LdapConnection(UniqueFd socket, HostPort server);
  LdapConnection(const LdapConnection&) = delete;
  LdapConnection& operator=(const LdapConnection&) = delete;

  [[nodiscard]] LDAP* handle() const noexcept { return ld_.get(); }
  [[nodiscard]] const HostPort& server() const noexcept { return server_; }
  [[nodiscard]] const std::string& serverName() const noexcept { return serverName_; }
  [[nodiscard]] const sockaddr_in& peer() const noexcept { return peer_; }
  [[nodiscard]] int descriptor() const;
  /// The connection broke or the server closed it; every further call throws.
  [[nodiscard]] bool lost() const noexcept { return lost_; }

  /// Sends a search and returns its id. Throws LDAPException.
  int send(const SearchRequest& request, LDAPControl* control = nullptr);

  /// Takes in the whole result of search `id` within the limit of `request`. A search that fails is
  /// abandoned. Throws LDAPException.
  SearchResult receive(int id, const SearchRequest& request);

  /// The same within what is left of `budget`, which is charged.
  SearchResult receive(int id, const SearchRequest& request, SearchBudget& budget);

  /// Throws LDAPException when all that came for `budget` is more than one search may bring.
  void throwIfOversized(const SearchBudget& budget);

  /// What a search may take in time: the limit of `request`, or PN::LDAP_SEARCH_TIMEOUT.
  [[nodiscard]] static SearchBudget budgetFor(const SearchRequest& request);

  /// Adds to `result` what has come for search `id` without waiting; true when it is complete.
  bool poll(int id, const SearchRequest& request, SearchResult& result);

  /// The next message of request `id`. Throws LDAPException, with LDAP_TIMEOUT when `limit` ended
  /// the wait.
  LdapMessage nextMessage(int id, const WaitLimit& limit);

  /// PN::LDAP_BIND_TIMEOUT; before the first answer less what earlier connections to this address
  /// have waited for theirs in vain.
  [[nodiscard]] WaitLimit bindLimit() const;

  /// Throws the LDAPException that says that `limit` ended a wait; without any answer so far the
  /// silence is remembered.
  [[noreturn]] void throwTimeout(const WaitLimit& limit, const char* missing = "answer") const;

  /// Tells the server not to bother, as far as that can be done without waiting.
  void abandon(int id) noexcept;

  /// throwIfLdap() for a call on this handle; remembers when it shows that the connection is lost.
  void throwIfFailed(int rc);

 private:
  SearchResult collect(int id, const SearchRequest& request, SearchBudget& budget);
  LdapMessage readMessage(int id, std::chrono::milliseconds limit);
  [[noreturn]] void throwOversized(const std::string& detail);
  bool take(LDAPMessage* message, const SearchRequest& request, SearchResult& result);
  void finish(LDAPMessage* message, const SearchRequest& request, SearchResult& result);

  HostPort server_;
  std::string serverName_;
  sockaddr_in peer_{};
  std::size_t allowance_;  // bytes that may still come; counted down by the stream of ld_
  LdapHandle ld_;
  bool lost_ = false;
  bool answered_ = false;  // a first message has come
};

}  // namespace tolk
