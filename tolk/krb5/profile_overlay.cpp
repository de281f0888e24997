#include "tolk/krb5/profile_overlay.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "tolk/krb5/krb5_error.h"

namespace tolk {
namespace {

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
