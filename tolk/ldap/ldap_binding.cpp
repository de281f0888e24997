// One synchronous search is a request sent and an answer received on the connection; fetch() and
// search() are forms of it.
#include "tolk/ldap/ldap_binding.h"

#include <boost/make_shared.hpp>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/dn.h"
#include "tolk/ldap/ldap_connection.h"

namespace tolk {

std::vector<std::string> attributeList(const char* const* names) {
  std::vector<std::string> out;
  for (; names != nullptr && *names != nullptr; ++names) out.emplace_back(*names);
  return out;
}

LDAPBinding::LDAPBinding() = default;
LDAPBinding::~LDAPBinding() = default;

void LDAPBinding::connectToServer(const std::string& hostAndPort) {
  adopt(LdapConnection::open(parseServer(hostAndPort)));
}

void LDAPBinding::adopt(std::shared_ptr<LdapConnection> connection) {
  server_ = connection->serverName();
  connection_ = std::move(connection);
}

void LDAPBinding::reopen() {
  if (server_.empty())
    throw LDAPException("Not connected to a directory server", LDAP_CONNECT_ERROR);
  connectToServer(std::string(server_));
}

const std::shared_ptr<LdapConnection>& LDAPBinding::connection() {
  if (connection_ == nullptr || connection_->lost()) reopen();
  return connection_;
}

ADObjectList LDAPBinding::run(const SearchRequest& request) {
  const std::shared_ptr<LdapConnection> connection = this->connection();
  return connection->receive(connection->send(request), request).objects;
}

ADObject LDAPBinding::fetch(const std::string& dn, const char* const* attributes,
                            const std::string& filter, bool mustExist) {
  ADObjectList found = run({.base = dn,
                            .scope = SearchScope::base,
                            .filter = filter,
                            .attributes = attributeList(attributes)});
  if (!found.empty()) return std::move(found.front());
  if (mustExist) throw NotFoundException("'" + printable(dn) + "' not found in the directory");
  return {};
}

boost::shared_ptr<ADObjectList> LDAPBinding::search(const std::string& filter,
                                                    const std::string& base,
                                                    const char* const* attributes, int scope,
                                                    int timeLimitSeconds, int sizeLimit,
                                                    int flags) {
  return boost::make_shared<ADObjectList>(run({.base = base,
                                               .scope = scope,
                                               .filter = filter,
                                               .attributes = attributeList(attributes),
                                               .timeLimitSeconds = timeLimitSeconds,
                                               .sizeLimit = sizeLimit,
                                               .flags = flags}));
}

PagedObjectList LDAPBinding::searchPaged(int pageSize, const std::string& filter,
                                         const std::string& base, const char* const* attributes,
                                         int scope, int timeLimitSeconds, int flags) {
  SearchRequest request{.base = base,
                        .scope = scope,
                        .filter = filter,
                        .attributes = attributeList(attributes),
                        .timeLimitSeconds = timeLimitSeconds,
                        .flags = flags};
  return {connection(), std::move(request), pageSize};
}

std::string LDAPBinding::DNSNameToDN(const std::string& name) {
  std::string dn;
  if (name.empty()) return dn;
  for (const std::string& label : split(name, '.')) {
    dn += (dn.empty() ? "DC=" : ",DC=") + DN::escapeValue(label);
  }
  return dn;
}

}  // namespace tolk
