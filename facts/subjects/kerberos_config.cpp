// krb5.conf(5) through the library that everybody else reads it with.
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "facts/subjects/kerberos.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/krb5/config_files.h"
#include "tolk/krb5/plain_context.h"

namespace joinscope::facts {
namespace {

std::vector<std::string> values(profile_t profile, std::vector<const char*> names) {
  names.push_back(nullptr);
  char** found = nullptr;
  if (profile_get_values(profile, names.data(), &found) != 0) return {};
  std::vector<std::string> texts;
  for (char** value = found; *value != nullptr; ++value) texts.emplace_back(*value);
  profile_free_list(found);
  return texts;
}

bool flag(profile_t profile, const char* name, bool unset) {
  int value = static_cast<int>(unset);
  profile_get_boolean(profile, "libdefaults", name, nullptr, value, &value);
  return value != 0;
}

std::string defaultRealm(krb5_context context) {
  char* realm = nullptr;
  if (krb5_get_default_realm(context, &realm) != 0) return {};
  std::string text = realm;
  krb5_free_default_realm(context, realm);
  return text;
}

std::string realmOf(krb5_context context, const std::string& domain) {
  char** realms = nullptr;
  if (krb5_get_host_realm(context, domain.c_str(), &realms) != 0) return {};
  std::string text = realms[0] != nullptr ? realms[0] : "";
  krb5_free_host_realm(context, realms);
  return text;
}

std::vector<std::int64_t> permittedTypes(krb5_context context) {
  krb5_enctype* types = nullptr;
  if (krb5_get_permitted_enctypes(context, &types) != 0) return {};
  std::vector<std::int64_t> found;
  for (const krb5_enctype* type = types; *type != 0; ++type) found.push_back(*type);
  krb5_free_enctypes(context, types);
  return found;
}

void readProfile(krb5_context context, const std::string& domain, KerberosConfig& config) {
  profile_t profile = nullptr;
  if (krb5_get_profile(context, &profile) != 0) return;
  const std::string realm = tolk::toUpper(domain);
  config.kdcs = values(profile, {"realms", realm.c_str(), "kdc"});
  config.lookupKdc = flag(profile, "dns_lookup_kdc", true);
  config.reverseNames = flag(profile, "rdns", true);
  profile_release(profile);
}

/// As they are when the process begins: KRB5_CONFIG is changed later on, for the own way.
const std::vector<std::string>& hostConfigFiles() {
  static const std::vector<std::string> files = tolk::configFiles();
  return files;
}

}  // namespace

KerberosConfig readKerberosConfig(const std::string& domain) {
  KerberosConfig config{.files = hostConfigFiles()};
  config.read = ask([&] {
    const tolk::PlainKerberosContext context(config.files);
    config.defaultRealm = defaultRealm(context.get());
    config.permitted = permittedTypes(context.get());
    if (!domain.empty()) config.domainRealm = realmOf(context.get(), domain);
    readProfile(context.get(), domain, config);
  });
  const std::string aside = config.files.empty() ? "" : config.files.front() + ".bad";
  if (!aside.empty() && ::access(config.files.front().c_str(), F_OK) != 0 &&
      ::access(aside.c_str(), F_OK) == 0) {
    config.aside = aside;
  }
  if (!config.read.answered()) config.malformed = tolk::malformedConfigFile(config.files);
  return config;
}

}  // namespace joinscope::facts
