#include "tolk/ldap/ad_attribute.h"

#include <charconv>
#include <limits>
#include <string_view>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"

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

}  // namespace tolk
