// A search entry, and what ends a page, as a server may send them, through the LDAP library's
// decoder to an object and a cookie. Nothing but what was sent may be in them.
#include <lber.h>
#include <ldap.h>
#include <openldap.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tolk/ldap/ldap_entry.h"

namespace {

std::string element(char tag, std::string_view content) {
  std::string out{tag, '\x83'};
  for (const unsigned shift : {16U, 8U, 0U}) {
    out += static_cast<char>(content.size() >> shift & 0xffU);
  }
  return out.append(content);
}

/// An answer to the first request (RFC 4511, 4.1.1): an entry or the end of a search, as the first
/// byte says, whose content and controls the second one parts. Their frames are right: for any
/// other the library fails too, but loses the memory of its request.
std::string answerOf(std::string_view bytes) {
  const char kind = (static_cast<unsigned char>(bytes[0]) & 1U) == 0 ? '\x64' : '\x65';
  const std::size_t length = static_cast<unsigned char>(bytes[1]);
  bytes.remove_prefix(2);
  const std::size_t end = std::min(length, bytes.size());
  return element('\x30', std::string("\x02\x01\x01", 3) + element(kind, bytes.substr(0, end)) +
                             std::string(bytes.substr(end)));
}

void take(LDAP* ld, LDAPMessage* chain, std::size_t size) {
  std::size_t found = 0;
  for (LDAPMessage* one = ldap_first_entry(ld, chain); one != nullptr;
       one = ldap_next_entry(ld, one)) {
    tolk::ADObject object;
    if (tolk::parseEntry(ld, one, object) != LDAP_SUCCESS) continue;
    found += object.dn().size();
    for (const std::string& name : object.attributeNames()) {
      for (const std::string& value : object.getStrings(name)) found += value.size();
    }
  }
  if (found > size) std::abort();
  int code = 0;
  LDAPControl** controls = nullptr;
  const int rc = ldap_parse_result(ld, chain, &code, nullptr, nullptr, nullptr, &controls, 0);
  std::string cookie;
  if (rc == LDAP_SUCCESS) (void)tolk::parsePageCookie(ld, controls, cookie);
  if (controls != nullptr) ldap_controls_free(controls);
  if (cookie.size() > size) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return 0;
  LDAP* ld = nullptr;
  if (ldap_init_fd(ends[0], LDAP_PROTO_TCP, nullptr, &ld) != LDAP_SUCCESS) std::abort();
  const int version = LDAP_VERSION3;
  ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
  int id = -1;
  ldap_search_ext(ld, "", LDAP_SCOPE_BASE, "(objectClass=*)", nullptr, 0, nullptr, nullptr, nullptr,
                  0, &id);
  const std::string message = answerOf({reinterpret_cast<const char*>(data), size});
  (void)!::write(ends[1], message.data(), message.size());
  ::shutdown(ends[1], SHUT_WR);
  LDAPMessage* chain = nullptr;
  timeval limit{.tv_sec = 5, .tv_usec = 0};
  if (ldap_result(ld, LDAP_RES_ANY, LDAP_MSG_ONE, &limit, &chain) > 0) take(ld, chain, size);
  if (chain != nullptr) ldap_msgfree(chain);
  ldap_unbind_ext(ld, nullptr, nullptr);
  ::close(ends[1]);
  return 0;
}
