// Attributes and values are copied out of the library's message as byte strings.
#include "tolk/ldap/ldap_entry.h"

#include <lber.h>

#include <memory>
#include <utility>
#include <vector>

#include "tolk/base/handle.h"

namespace tolk {
namespace {

// The decoder's state only; the bytes it points to belong to the message.
void freeDecoder(BerElement* ber) noexcept {
  ber_free(ber, 0);
}
using Decoder = std::unique_ptr<BerElement, Releaser<freeDecoder>>;
using Values = std::unique_ptr<berval, Releaser<ber_memfree>>;

std::string bytes(const berval& value) {
  return {value.bv_val, value.bv_len};
}

std::vector<std::string> copyValues(const berval* values) {
  std::vector<std::string> out;
  for (; values != nullptr && values->bv_val != nullptr; ++values) out.push_back(bytes(*values));
  return out;
}

}  // namespace

int parseEntry(LDAP* ld, LDAPMessage* message, ADObject& out) {
  BerElement* state = nullptr;
  berval dn{};
  int rc = ldap_get_dn_ber(ld, message, &state, &dn);
  const Decoder decoder(state);
  if (rc != LDAP_SUCCESS) return rc;
  ADObject object(dn.bv_val == nullptr ? std::string() : bytes(dn));
  while (true) {
    berval name{};
    berval* list = nullptr;
    rc = ldap_get_attribute_ber(ld, message, decoder.get(), &name, &list);
    const Values values(list);
    if (rc != LDAP_SUCCESS) return rc;
    if (name.bv_val == nullptr) break;
    object[bytes(name)] = copyValues(values.get());
  }
  out = std::move(object);
  return LDAP_SUCCESS;
}

int parsePageCookie(LDAP* ld, LDAPControl** controls, std::string& cookie) {
  cookie.clear();
  LDAPControl* control = ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, controls, nullptr);
  if (control == nullptr) return LDAP_SUCCESS;
  // The library ends the process for one without a value, and for an empty one.
  if (control->ldctl_value.bv_len == 0) return LDAP_DECODING_ERROR;
  ber_int_t estimate = 0;
  berval raw{};
  const int rc = ldap_parse_pageresponse_control(ld, control, &estimate, &raw);
  const std::unique_ptr<char, Releaser<ber_memfree>> owner(raw.bv_val);
  if (rc == LDAP_SUCCESS && raw.bv_val != nullptr) cookie = bytes(raw);
  return rc;
}

}  // namespace tolk
