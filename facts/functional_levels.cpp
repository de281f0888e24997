// Levels from a root DSE, the mode by a bind of its own.
#include "facts/functional_levels.h"

#include <algorithm>
#include <array>

#include "tolk/base/exceptions.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/ldap_binding.h"

namespace joinscope {
namespace {

constexpr std::array kLevels{kDomainLevel, kForestLevel, kControllerLevel};

}  // namespace

std::optional<int> levelOf(const tolk::ADObject& rootDse, const char* name) {
  try {
    return rootDse.getInt(name, 0);
  } catch (const tolk::SystemException&) {
    return {};
  }
}

bool isWindows2000(const tolk::ADObject& rootDse) {
  return std::ranges::none_of(
      kLevels, [&](const char* name) { return rootDse.attributeExists(name, true); });
}

void fillInLevels(tolk::ADObject& rootDse) {
  for (const char* name : kLevels) rootDse[name] = 0;
}

bool readMixedMode(const tolk::ADObject& rootDse, const std::string& server,
                   const std::function<void()>& connected) {
  tolk::LDAPBinding binding;
  binding.connectToServer(server + ":389");
  connected();
  const std::string domain = rootDse.getString(tolk::AD_DEFAULT_NAMING_CTX, "");
  const tolk::ADObject object = binding.fetch(domain, nullptr, tolk::AD_ALL_OBJECTS, false);
  return object.getInt(tolk::AD_MIXED_DOMAIN, 0) != 0;
}

void applyMixedMode(tolk::ADObject& rootDse, std::optional<bool> mixed) {
  if (!mixed) {
    rootDse.erase(kDomainLevel);
  } else if (*mixed) {
    rootDse[kDomainLevel] = -1;
  }
}

}  // namespace joinscope
