#include "tolk/ldap/ad_object.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <map>
#include <utility>

#include "tolk/base/properties.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"

namespace tolk {

struct ADObject::Impl {
  std::string dn;
  ADAttribute dnAttribute;  // what AD_DN reads as when the server did not return it
  std::map<std::string, ADAttribute, StringCaseLessThan> attributes;
};

ADObject::ADObject(std::string dn) : impl_(boost::make_shared<Impl>()) {
  if (!dn.empty()) impl_->dnAttribute = dn;
  impl_->dn = std::move(dn);
}

bool ADObject::empty() const noexcept {
  return impl_ == nullptr || std::none_of(impl_->attributes.begin(), impl_->attributes.end(),
                                          [](const auto& entry) { return entry.second.present(); });
}

const std::string& ADObject::dn() const noexcept {
  static const std::string none;
  return impl_ == nullptr ? none : impl_->dn;
}

const ADAttribute* ADObject::find(std::string_view name) const {
  if (impl_ == nullptr) return nullptr;
  const auto found = impl_->attributes.find(name);
  if (found != impl_->attributes.end() && found->second.present()) return &found->second;
  const bool isDn = impl_->dnAttribute.present() && equalsIgnoringCase(name, AD_DN);
  return isDn ? &impl_->dnAttribute : nullptr;
}

ADAttribute& ADObject::findOrAdd(std::string_view name) {
  if (impl_ == nullptr) impl_ = boost::make_shared<Impl>();
  const auto found = impl_->attributes.find(name);
  if (found != impl_->attributes.end()) return found->second;
  ADAttribute initial;
  if (const ADAttribute* known = find(name)) initial = *known;
  return impl_->attributes.emplace(std::string(name), std::move(initial)).first->second;
}

bool ADObject::attributeExists(std::string_view name, bool withValue) const {
  const ADAttribute* attribute = find(name);
  return attribute != nullptr && (!withValue || !attribute->empty());
}

ADAttribute& ADObject::operator[](const std::string& name) {
  return findOrAdd(name);
}
ADAttribute& ADObject::operator[](const char* name) {
  return findOrAdd(name);
}

const ADAttribute& ADObject::operator[](const std::string& name) const {
  return (*this)[name.c_str()];
}

const ADAttribute& ADObject::operator[](const char* name) const {
  static const ADAttribute absent;
  const ADAttribute* attribute = find(name);
  return attribute == nullptr ? absent : *attribute;
}

int ADObject::getInt(std::string_view name, int fallback) const {
  const ADAttribute* attribute = find(name);
  return attribute == nullptr || attribute->empty() ? fallback : attribute->toInt();
}

std::string ADObject::getString(std::string_view name, const std::string& fallback) const {
  const ADAttribute* attribute = find(name);
  return attribute == nullptr || attribute->empty() ? fallback : attribute->toString();
}

std::vector<std::string> ADObject::getStrings(std::string_view name) const {
  const ADAttribute* attribute = find(name);
  return attribute == nullptr ? std::vector<std::string>() : attribute->values();
}

void ADObject::erase(std::string_view name) {
  if (impl_ == nullptr) return;
  const auto found = impl_->attributes.find(name);
  if (found != impl_->attributes.end()) impl_->attributes.erase(found);
}

std::vector<std::string> ADObject::attributeNames() const {
  std::vector<std::string> names;
  if (impl_ == nullptr) return names;
  for (const auto& [name, attribute] : impl_->attributes) {
    if (attribute.present()) names.push_back(name);
  }
  return names;
}

}  // namespace tolk
