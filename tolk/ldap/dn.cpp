// Names are parsed by the LDAP library; only what it has no call for is written here.
#include "tolk/ldap/dn.h"

#include <ldap.h>

#include <cstddef>
#include <memory>
#include <type_traits>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

using ParsedDn = std::unique_ptr<std::remove_pointer_t<LDAPDN>, Releaser<ldap_dnfree>>;

[[noreturn]] void throwNotDn(const std::string& dn) {
  constexpr std::size_t kShownCharacters = 200;
  throw SystemException("'" + printable(std::string_view(dn).substr(0, kShownCharacters)) +
                        "' is not a distinguished name");
}

// Null for the empty name.
ParsedDn parseDn(const std::string& dn) {
  LDAPDN parsed = nullptr;
  if (dn.find('\0') != std::string::npos ||
      ldap_str2dn(dn.c_str(), &parsed, LDAP_DN_FORMAT_LDAPV3) != LDAP_SUCCESS) {
    throwNotDn(dn);
  }
  return ParsedDn(parsed);
}

std::string text(const berval& value) {
  return {value.bv_val, value.bv_len};
}

// The value of a component that is one DC and nothing else, "" for any other.
std::string domainLabel(LDAPRDN component) {
  if (component[0] == nullptr || component[1] != nullptr) return {};
  const bool isDc = equalsIgnoringCase(text(component[0]->la_attr), "DC");
  return isDc ? text(component[0]->la_value) : std::string();
}

std::size_t componentsOf(const ParsedDn& dn) {
  std::size_t count = 0;
  while (dn != nullptr && dn.get()[count] != nullptr) ++count;
  return count;
}

// Active Directory has no component of several values: one that has is like no other.
bool sameComponent(LDAPRDN left, LDAPRDN right) {
  const auto single = [](LDAPRDN component) {
    return component[0] != nullptr && component[1] == nullptr;
  };
  return single(left) && single(right) &&
         equalsIgnoringCase(text(left[0]->la_attr), text(right[0]->la_attr)) &&
         equalsIgnoringCase(text(left[0]->la_value), text(right[0]->la_value));
}

// One component's values without types; "\\" and "/" are what separates or escapes in the canonical
// form.
std::string canonicalComponent(LDAPRDN component) {
  std::string out;
  for (std::size_t i = 0; component[i] != nullptr; ++i) {
    if (i > 0) out += '+';
    for (const char c : text(component[i]->la_value)) {
      if (c == '/' || c == '\\') out += '\\';
      out += c;
    }
  }
  return out;
}

}  // namespace

std::string DN::domainFromDN(const std::string& dn) {
  const ParsedDn parsed = parseDn(dn);
  std::string domain;
  for (std::size_t i = 0; parsed != nullptr && parsed.get()[i] != nullptr; ++i) {
    const std::string label = domainLabel(parsed.get()[i]);
    if (label.empty()) {
      domain.clear();  // only the components at the end count
    } else {
      domain += (domain.empty() ? "" : ".") + label;
    }
  }
  return domain;
}

std::string DN::canonicalFromDN(const std::string& dn) {
  const ParsedDn parsed = parseDn(dn);
  if (parsed == nullptr) return {};
  std::size_t count = componentsOf(parsed);
  std::string domain;
  std::string path;
  bool inDomain = true;  // from the root down, until the first component that is no DC
  while (count-- > 0) {
    const LDAPRDN component = parsed.get()[count];
    const std::string label = inDomain ? domainLabel(component) : std::string();
    inDomain = !label.empty();
    if (inDomain) {
      domain.insert(0, domain.empty() ? label : label + ".");
    } else {
      path += "/" + canonicalComponent(component);
    }
  }
  return domain + (path.empty() ? "/" : path);
}

bool DN::isWithin(const std::string& dn, const std::string& container) {
  const ParsedDn name = parseDn(dn);
  const ParsedDn above = parseDn(container);
  std::size_t i = componentsOf(name);
  std::size_t j = componentsOf(above);
  if (j == 0 || j > i) return false;
  while (j > 0) {
    if (!sameComponent(name.get()[--i], above.get()[--j])) return false;
  }
  return true;
}

// A backslash takes the next character's meaning (RFC 4514).
std::string DN::parentOf(const std::string& dn) {
  for (std::size_t at = 0; at < dn.size(); ++at) {
    if (dn[at] == '\\') {
      ++at;
    } else if (dn[at] == ',') {
      return dn.substr(at + 1);
    }
  }
  return {};
}

std::string DN::escapeLDAPFilter(std::string_view value) {
  std::string out;
  out.reserve(value.size());
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    const bool plain =
        byte >= 0x20 && byte < 0x7f && std::string_view("*()\\").find(c) == std::string_view::npos;
    out += plain ? std::string(1, c) : '\\' + hexByte(byte);
  }
  return out;
}

std::string DN::escapeValue(std::string_view value) {
  std::string out;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    const auto byte = static_cast<unsigned char>(c);
    const bool atEdge = c == ' ' && (i == 0 || i + 1 == value.size());
    if (byte < 0x20 || byte == 0x7f) {
      out += '\\' + hexByte(byte);
    } else {
      const bool special = std::string_view(",+\"\\<>;=").find(c) != std::string_view::npos;
      if (special || atEdge || (c == '#' && i == 0)) out += '\\';
      out += c;
    }
  }
  return out;
}

}  // namespace tolk
