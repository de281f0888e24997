// Many searches on one connection without waiting for each: results come in the order of the
// requests.
#pragma once

#include <cstddef>
#include <deque>
#include <exception>
#include <memory>

#include "tolk/ldap/ldap_binding.h"

namespace tolk {

class SearchBudget;

/// Keeps up to kWindow searches outstanding on one binding's connection; when that is lost, every
/// read left fails. Requests beyond the window wait here as text, and at most kWindow results are
/// held, so that memory does not grow with the answers. Use: add() everything known so far, then
/// next() once for each request; both may be mixed freely.
class PipelinedReads {
 public:
  /// Searches on their way at one time. Servers answer a connection's requests in turn, so more
  /// gains nothing once a round trip is filled.
  static constexpr std::size_t kWindow = 32;

  /// Opens the binding's connection again if it was lost; throws LDAPException.
  explicit PipelinedReads(LDAPBinding& binding);
  PipelinedReads(const PipelinedReads&) = delete;
  PipelinedReads& operator=(const PipelinedReads&) = delete;
  /// Abandons what is outstanding.
  ~PipelinedReads();

  /// Asks for a search and returns its number, counted from 0. Sends it at once when the window has
  /// room. Never throws for a failed read: next() does, at that request's turn.
  std::size_t add(const std::string& filter, const std::string& base, const char* const* attributes,
                  int scope);

  /// The result of the oldest request not yet handed back. All waits of a pipeline share one budget
  /// of PN::LDAP_SEARCH_TIMEOUT, which grows with the answers (orvald.conf(5)). A base that does
  /// not exist gives an empty list. Throws that request's LDAPException and drops the request, so
  /// that the next call goes on with the following one; precondition: pending() > 0.
  [[nodiscard]] ADObjectList next();

  /// Requests not yet handed back.
  [[nodiscard]] std::size_t pending() const noexcept {
    return outstanding_.size() + waiting_.size();
  }

 private:
  struct Outstanding {
    SearchRequest request;
    int id;                    ///< of the request on the wire
    std::exception_ptr error;  ///< why it has no answer to wait for
  };
  void fillWindow();
  void giveUp();

  std::shared_ptr<LdapConnection> connection_;
  std::unique_ptr<SearchBudget> budget_;
  std::size_t added_ = 0;
  std::exception_ptr silence_;  ///< set once a read has timed out: no later one is waited for
  std::deque<Outstanding> outstanding_;
  std::deque<SearchRequest> waiting_;
};

}  // namespace tolk
