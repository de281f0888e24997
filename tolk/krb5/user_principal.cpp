#include "tolk/krb5/user_principal.h"

#include <algorithm>

#include "tolk/base/text.h"
#include "tolk/krb5/krb5_error.h"

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

PrincipalParts partsOf(const std::string& user, const std::string& domain) {
  const std::string domainRealm = toUpper(domain);
  const std::size_t slash = user.find('\\');
  if (slash != std::string::npos) {
    const std::string prefix = user.substr(0, slash);
    const bool dnsName = prefix.find('.') != std::string::npos;
    return {user.substr(slash + 1), dnsName ? toUpper(prefix) : domainRealm};
  }
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
