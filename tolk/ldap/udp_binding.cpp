// Filters are parsed by the LDAP library's own encoder, as far as connectionless LDAP takes them.
#include "tolk/ldap/udp_binding.h"

#include <lber.h>
#include <ldap.h>
#include <netinet/in.h>

#include <boost/make_shared.hpp>
#include <memory>
#include <string_view>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ldap_connection.h"
#include "tolk/ldap/ldap_error.h"
#include "tolk/net/cldap.h"
#include "tolk/net/dns.h"
#include "tolk/net/host_query.h"

namespace tolk {
namespace {

void freeBer(BerElement* ber) noexcept {
  ber_free(ber, 1);
}
using Ber = std::unique_ptr<BerElement, Releaser<freeBer>>;

std::string bytes(const berval& value) {
  return {value.bv_val, value.bv_len};
}

// Reads one "(attribute=value)" or "(attribute=*)" at the decoder's place into the request.
bool readItem(BerElement* ber, ber_tag_t tag, CldapRequest& out) {
  berval name{};
  berval value{};
  if (tag == LDAP_FILTER_PRESENT && out.present.empty()) {
    if (ber_scanf(ber, "m", &name) == LBER_ERROR) return false;
    out.present = bytes(name);
    return true;
  }
  if (tag != LDAP_FILTER_EQUALITY || ber_scanf(ber, "{mm}", &name, &value) == LBER_ERROR) {
    return false;
  }
  out.equalities.emplace_back(bytes(name), bytes(value));
  return true;
}

bool readItems(BerElement* ber, CldapRequest& out) {
  ber_len_t length = 0;
  char* end = nullptr;
  for (ber_tag_t tag = ber_first_element(ber, &length, &end); tag != LBER_DEFAULT;
       tag = ber_next_element(ber, &length, end)) {
    if (!readItem(ber, tag, out)) return false;
  }
  return out.present.empty() != out.equalities.empty();
}

// One presence test, or equalities that must all hold: what controllers answer without a
// connection. The library parses only lists of such items by themselves (RFC 3876), so an AND is
// handed to it as the list that it holds, and the items are read back from their encoding.
void parseFilter(const std::string& filter, CldapRequest& out) {
  const std::string list = filter.starts_with("(&") ? "(" + filter.substr(2) : filter;
  const Ber encoder(ber_alloc_t(LBER_USE_DER));
  berval encoded{};
  bool good = encoder != nullptr && filter.find('\0') == std::string::npos &&
              ldap_put_vrFilter(encoder.get(), list.c_str()) == 0 &&
              ber_flatten2(encoder.get(), &encoded, 0) == 0;
  if (good) {
    const Ber decoder(ber_init(&encoded));
    good = decoder != nullptr && readItems(decoder.get(), out);
  }
  if (!good) {
    throw LDAPException(ldapMessage(LDAP_FILTER_ERROR, "", "'" + printable(filter) + "'"),
                        LDAP_FILTER_ERROR);
  }
}

ADObject toObject(const CldapEntry& entry) {
  ADObject object(entry.dn);
  for (const auto& [name, values] : entry.attributes) object[name] = values;
  return object;
}

}  // namespace

void UDPBinding::init(const std::string& host) {
  EventLoop loop;
  const std::vector<in_addr> addresses = startHostLookup(loop, host).wait();
  if (addresses.empty()) throw cannotContact(host, "the host name has no address");
  host_ = host;
  address_ = addresses.front().s_addr;
}

boost::shared_ptr<ADObjectList> UDPBinding::search(const std::string& base,
                                                   const std::string& filter,
                                                   const char* const* attributes) {
  return boost::make_shared<ADObjectList>(
      run({.base = base, .filter = filter, .attributes = attributeList(attributes)}));
}

ADObjectList UDPBinding::run(const SearchRequest& request) {
  if (host_.empty()) reopen();
  CldapRequest question;
  question.base = request.base;
  question.attributes = request.attributes;
  parseFilter(request.filter, question);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = static_cast<in_addr_t>(address_);
  EventLoop loop;
  ADObjectList objects;
  for (const CldapEntry& entry :
       startCldapSearch(loop, address, question, configuredLimit(PN::LDAP_BIND_TIMEOUT)).wait()) {
    objects.push_back(toObject(entry));
  }
  return objects;
}

void UDPBinding::reopen() {
  throw LDAPException(host_.empty() ? "No host to ask; init() was not called"
                                    : "Connectionless LDAP has no connection",
                      LDAP_CONNECT_ERROR);
}

}  // namespace tolk
