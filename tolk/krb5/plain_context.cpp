// The library's own start, upon a profile of files that are named: KRB5_CONFIG may have been
// changed for GSS-API's sake (GssConfigOverlay).
#include "tolk/krb5/plain_context.h"

#include <cerrno>

#include "tolk/krb5/krb5_error.h"

namespace tolk {
namespace {

constexpr char kWhat[] = "Kerberos configuration";

/// Null when none of the files is there; throws KerberosException.
profile_t openProfile(const std::vector<std::string>& files) {
  std::vector<const char*> names;
  names.reserve(files.size() + 1);
  for (const std::string& file : files) names.push_back(file.c_str());
  names.push_back(nullptr);
  profile_t profile = nullptr;
  const long code = profile_init(names.data(), &profile);
  if (code == ENOENT) return nullptr;
  throwIfKrb5(nullptr, code == 0 ? 0 : KRB5_CONFIG_BADFORMAT, kWhat);  // as the library does
  return profile;
}

}  // namespace

PlainKerberosContext::PlainKerberosContext(const std::vector<std::string>& files) {
  profile_t profile = openProfile(files);
  if (profile == nullptr)
    throwIfKrb5(nullptr, static_cast<krb5_error_code>(profile_init(nullptr, &profile)), kWhat);
  krb5_context context = nullptr;
  const krb5_error_code code = krb5_init_context_profile(profile, 0, &context);
  profile_release(profile);
  throwIfKrb5(nullptr, code, kWhat);
  context_.reset(context);
}

}  // namespace tolk
