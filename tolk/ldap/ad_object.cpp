// Attributes in a map without regard to case, behind a shared pointer.
#include "tolk/ldap/ad_object.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <charconv>
#include <limits>
#include <map>
#include <string_view>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"

namespace tolk {
namespace {

constexpr std::size_t kShownCharacters = 40;

[[noreturn]] void throwNotNumber(const std::string& value) {
  const bool cut = value.size() > kShownCharacters;
  throw SystemException("'" + printable(std::string_view(value).substr(0, kShownCharacters)) +
                        (cut ? "...'" : "'") + " is not a number of the expected range");
}

std::int64_t numberBetween(const std::string& value, std::int64_t low, std::int64_t high) {
  std::int64_t number = 0;
  const char* end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, number);
  if (error != std::errc() || stop != end || number < low || number > high) throwNotNumber(value);
  return number;
}

}  // namespace

ADAttribute::ADAttribute(std::vector<std::string> values)
    : values_(std::move(values)), present_(true) {}

ADAttribute& ADAttribute::operator=(int value) {
  return *this = std::to_string(value);
}

ADAttribute& ADAttribute::operator=(std::string value) {
  values_.clear();
  values_.push_back(std::move(value));
  present_ = true;
  return *this;
}

ADAttribute& ADAttribute::operator=(std::vector<std::string> values) {
  values_ = std::move(values);
  present_ = true;
  return *this;
}

const std::string& ADAttribute::toString() const {
  if (!present_) throw SystemException("the object does not have this attribute");
  if (values_.empty()) throw SystemException("the attribute has no value");
  return values_.front();
}

int ADAttribute::toInt() const {
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(numberBetween(toString(), Limits::min(), Limits::max()));
}

std::int64_t ADAttribute::toInt64() const {
  using Limits = std::numeric_limits<std::int64_t>;
  return numberBetween(toString(), Limits::min(), Limits::max());
}

std::uint32_t ADAttribute::toUInt() const {
  const std::int64_t number = numberBetween(toString(), std::numeric_limits<std::int32_t>::min(),
                                            std::numeric_limits<std::uint32_t>::max());
  return static_cast<std::uint32_t>(number);
}

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
