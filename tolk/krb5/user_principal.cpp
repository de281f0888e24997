// The forms are told apart by their separators: PREFIX\name, name@SUFFIX, name.
#include "tolk/krb5/user_principal.h"

#include <algorithm>

#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/net/netbios_domain.h"

namespace tolk {
namespace {

/// `text` so that the library's parser takes "\" and "@" as they are (krb5_parse_name(3)).
std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\' || c == '@') out += '\\';
    out += c;
  }
  return out;
}

/// A suffix in capitals with a dot is how people write a realm: "EXAMPLE.COM".
bool looksLikeRealm(const std::string& suffix) {
  return suffix.find('.') != std::string::npos && suffix == toUpper(suffix);
}

struct PrincipalParts {
  std::string name;
  std::string realm;
  bool enterprise = false;
};

// "PREFIX\name". A short name that the domain's controllers do not go by may be one of its forest
// or of a trusted domain: the KDC knows those, as suffixes of enterprise names, and refuses others.
PrincipalParts partsOfDomainUser(const std::string& prefix, const std::string& name,
                                 const std::string& domain) {
  const std::string domainRealm = toUpper(domain);
  if (prefix.find('.') != std::string::npos) return {name, toUpper(prefix)};
  const std::string own = prefix.empty() ? prefix : netbiosNameOf(domain);
  if (equalsIgnoringCase(prefix, own)) return {name, domainRealm};
  const std::string known = own.empty() ? "no controller tells" : "it is " + printable(own);
  noteTrouble("base.kerberos.principal",
              printable(prefix) + " is not known as the short name of the domain " +
                  printable(domain) + " (" + known +
                  "): its key distribution center is asked which domain that is");
  return {name + "@" + prefix, domainRealm, true};
}

PrincipalParts partsOf(const std::string& user, const std::string& domain) {
  const std::string domainRealm = toUpper(domain);
  const std::size_t slash = user.find('\\');
  if (slash != std::string::npos)
    return partsOfDomainUser(user.substr(0, slash), user.substr(slash + 1), domain);
  const std::size_t at = user.rfind('@');
  if (at == std::string::npos) return {user, domainRealm};
  const std::string suffix = user.substr(at + 1);
  if (equalsIgnoringCase(suffix, domain) || looksLikeRealm(suffix))
    return {user.substr(0, at), toUpper(suffix)};
  return {user, domainRealm, true};
}

krb5_error_code makePrincipal(krb5_context context, const PrincipalParts& parts,
                              krb5_principal* out) {
  if (!parts.enterprise)
    return krb5_parse_name(context, (escaped(parts.name) + "@" + parts.realm).c_str(), out);
  // One component, with the "@" in it.
  const krb5_error_code code =
      krb5_build_principal(context, out, static_cast<unsigned>(parts.realm.size()),
                           parts.realm.c_str(), parts.name.c_str(), nullptr);
  if (code == 0) (*out)->type = KRB5_NT_ENTERPRISE_PRINCIPAL;
  return code;
}

}  // namespace

Krb5Principal userPrincipal(krb5_context context, const std::string& user,
                            const std::string& domain) {
  Krb5Principal principal(context);
  throwIfKrb5(context, makePrincipal(context, partsOf(user, domain), principal.out()),
              "parsing user name \"" + printable(user) + "\"");
  return principal;
}

std::string ADUser::getRealmName(const std::string& principal, const char* fallback) {
  std::size_t realm = std::string::npos;
  for (std::size_t i = 0; i < principal.size(); ++i) {
    if (principal[i] == '\\')
      ++i;
    else if (principal[i] == '@')
      realm = i + 1;
  }
  if (realm != std::string::npos) return principal.substr(realm);
  return fallback == nullptr ? "" : fallback;
}

}  // namespace tolk
