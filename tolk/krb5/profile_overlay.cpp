// Our own contexts ask a table of calls (profile_init_vtable); those of GSS-API read a file that
// KRB5_CONFIG names.
#include "tolk/krb5/profile_overlay.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

#include "tolk/base/text.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/memory_file.h"

namespace tolk {
namespace {

/// Only what cannot be mistaken for the file's syntax goes into it.
bool isPlainName(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == '_';
  });
}

constexpr const char* kLibraryDefaults =
    "[libdefaults]\n"
    "kdc_timesync = 0\n"
    "dns_canonicalize_hostname = false\n"
    "rdns = false\n"
    "qualify_shortname = \"\"\n"
    "dns_lookup_kdc = false\n"
    "dns_lookup_realm = false\n";

std::string configuration(const std::string& realm, const std::string& host) {
  std::string text = kLibraryDefaults;
  if (!isPlainName(realm)) return text;
  text += "default_realm = " + realm + "\n";
  if (isPlainName(host)) text += "[domain_realm]\n" + host + " = " + realm + "\n";
  return text;
}

std::string configuration(const std::list<std::string>& domains) {
  std::string text = std::string(kLibraryDefaults) + "[domain_realm]\n";
  for (const std::string& domain : domains) {
    if (isPlainName(domain)) text += "." + toLower(domain) + " = " + toUpper(domain) + "\n";
  }
  return text;
}

/// The path of a file with that text. The profile library remembers files by path and second, so no
/// path may ever get other content: a file, once made, stays open until the process ends. There are
/// as many as domains in use.
std::string pathOf(const std::string& text) {
  static std::map<std::string, UniqueFd> files;
  auto found = files.find(text);
  if (found == files.end()) found = files.emplace(text, memoryFile(text)).first;
  return memoryFilePath(found->second);
}

std::string fileList(const std::string& first) {
  const char* former = std::getenv("KRB5_CONFIG");
  return pathOf(first) + ":" + (former != nullptr ? former : "/etc/krb5.conf");
}

// Whether an overlay for all threads is in force.
std::atomic<bool> gForAllThreads = false;

std::string joinedPath(const char* const* names) {
  std::string path;
  for (; *names != nullptr; ++names) {
    if (!path.empty()) path += '/';
    path += *names;
  }
  return path;
}

std::string withAnySection(const char* const* names) {
  if (names[0] == nullptr || names[1] == nullptr || names[2] == nullptr) return {};
  return std::string(names[0]) + "/*/" + joinedPath(names + 2);
}

/// The list form that profile_free_list() frees; null without memory.
char** listOf(const std::string& value) {
  auto* list = static_cast<char**>(std::calloc(2, sizeof(char*)));
  if (list == nullptr) return nullptr;
  list[0] = ::strdup(value.c_str());
  if (list[0] != nullptr) return list;
  std::free(list);
  return nullptr;
}

}  // namespace

GssConfigOverlay::GssConfigOverlay(const std::string& realm, const std::string& host) {
  if (!gForAllThreads) variable_.emplace("KRB5_CONFIG", fileList(configuration(realm, host)));
}

GssConfigOverlay::GssConfigOverlay(const std::list<std::string>& domains) : forAllThreads_(true) {
  variable_.emplace("KRB5_CONFIG", fileList(configuration(domains)));
  gForAllThreads = true;
}

GssConfigOverlay::~GssConfigOverlay() {
  if (forAllThreads_) gForAllThreads = false;
}

/// The functions that the profile library calls.
struct ProfileOverlayCalls {
  static long getValues(void* data, const char* const* names, char*** out) noexcept {
    const auto* overlay = static_cast<const ProfileOverlay*>(data);
    try {
      auto found = overlay->values_.find(joinedPath(names));
      if (found == overlay->values_.end()) found = overlay->values_.find(withAnySection(names));
      if (found == overlay->values_.end())
        return overlay->base_ == nullptr ? PROF_NO_RELATION
                                         : profile_get_values(overlay->base_, names, out);
      const auto& value = found->second;
      if (!value) return PROF_NO_RELATION;
      *out = listOf(*value);
      return *out == nullptr ? ENOMEM : 0;
    } catch (...) {
      return ENOMEM;
    }
  }

  static void freeValues(void* /*data*/, char** values) noexcept { profile_free_list(values); }
};

ProfileOverlay::~ProfileOverlay() {
  if (base_ != nullptr) profile_abandon(base_);
}

void ProfileOverlay::set(const std::string& path, std::string value) {
  values_[path] = std::move(value);
}

void ProfileOverlay::hide(const std::string& path) {
  values_[path] = std::nullopt;
}

profile_t ProfileOverlay::open() {
  profile_vtable calls{};
  calls.minor_ver = 1;
  calls.get_values = &ProfileOverlayCalls::getValues;
  calls.free_values = &ProfileOverlayCalls::freeValues;
  profile_t opened = nullptr;
  throwIfKrb5(nullptr, static_cast<krb5_error_code>(profile_init_vtable(&calls, this, &opened)),
              "laying values over the Kerberos profile");
  return opened;
}

}  // namespace tolk
