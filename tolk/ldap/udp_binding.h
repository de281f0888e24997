// Connectionless LDAP (MS-ADTS 6.3.3): one question, one answer, no binding.
#pragma once

#include "tolk/ldap/ldap_binding.h"

namespace tolk {

/// Reads over UDP port 389. A query is sent again every second; its limit is PN::LDAP_BIND_TIMEOUT
/// at the time of the query.
class UDPBinding : public LDAPBinding {
 public:
  /// Looks the host's address up. Throws LDAPException for an unknown host, DNSUnavailableException
  /// when DNS is silent.
  void init(const std::string& host);

  /// Objects of one search with base scope. An answer without objects is an empty list. Throws
  /// TimeoutException when nothing answers, IOException (code ECONNREFUSED) when nothing listens,
  /// LDAPException for a filter that does not parse.
  [[nodiscard]] boost::shared_ptr<ADObjectList> search(const std::string& base,
                                                       const std::string& filter,
                                                       const char* const* attributes);

 protected:
  ADObjectList run(const SearchRequest& request) override;
  void reopen() override;

 private:
  std::string host_;
  unsigned long address_ = 0;  ///< in_addr::s_addr of the host, network byte order
};

}  // namespace tolk
