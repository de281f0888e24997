// A file is read line by line into the map; values are made numbers, times and switches when they
// are asked for.
#include "tolk/base/properties.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/file.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Takes the next physical line off `text`, without its line end.
std::string_view takeLine(std::string_view& text) noexcept {
  const std::size_t end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

std::string_view withoutLeadingSpace(std::string_view line) noexcept {
  const std::string_view trimmed = trim(line);
  if (trimmed.empty()) return {};
  return line.substr(static_cast<std::size_t>(trimmed.data() - line.data()));
}

// Takes the next line together with those that continue it.
std::string takeLogicalLine(std::string_view& text) {
  std::string line(withoutLeadingSpace(takeLine(text)));
  if (line.starts_with('#')) return {};
  while (line.ends_with('\\')) {
    line.pop_back();
    if (text.empty()) break;
    line += withoutLeadingSpace(takeLine(text));
  }
  return line;
}

// Calls `take` for each "key: value" line in the order of the lines; "#" begins a comment, a
// backslash at the end goes on with the next line, what has no colon or key is skipped.
void forEachProperty(std::string_view text,
                     const std::function<void(std::string_view key, std::string value)>& take) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  while (!text.empty()) {
    const std::string line = takeLogicalLine(text);
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    const std::string_view key = trim(std::string_view(line).substr(0, colon));
    if (key.empty()) continue;
    take(key, std::string(trim(std::string_view(line).substr(colon + 1))));
  }
}

constexpr const char* kConfigurationPath = "/etc/orvald/orvald.conf";
constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20U;

struct TimeUnit {
  char letter;
  long seconds;
};

constexpr std::array kTimeUnits{TimeUnit{'s', 1}, TimeUnit{'m', 60}, TimeUnit{'h', 3600},
                                TimeUnit{'d', 86400}};

std::optional<long> secondsIn(char letter) noexcept {
  for (const TimeUnit& unit : kTimeUnits) {
    if (unit.letter == letter) return unit.seconds;
  }
  return {};
}

// The whole of `text` as a number; a sign "+" is accepted like "-".
template <typename Number>
std::optional<Number> numberIn(std::string_view text) noexcept {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return {};
  return number;
}

// Takes a trailing unit letter (any case) off `text`; its seconds, or those of `standard` when
// there is none.
long takeUnit(std::string_view& text, char standard) {
  const std::string last = toLower(text.substr(text.empty() ? 0 : text.size() - 1));
  if (const auto seconds = secondsIn(last.empty() ? '\0' : last.front())) {
    text = trim(text.substr(0, text.size() - 1));
    return *seconds;
  }
  return secondsIn(standard).value_or(1);
}

std::optional<double> secondsOf(std::string_view text) {
  const long unit = takeUnit(text, 's');
  const auto number = numberIn<double>(text);
  if (!number || !std::isfinite(*number) || *number < 0) return {};
  return *number * static_cast<double>(unit);
}

}  // namespace

bool StringCaseLessThan::operator()(std::string_view left, std::string_view right) const noexcept {
  return lessIgnoringCase(left, right);
}

bool Properties::load(const std::string& path, bool quiet) {
  std::string text;
  try {
    text = readRegularFile(path, kMaxFileBytes);
  } catch (const IOException&) {
    if (!quiet) throw;
    return false;
  }
  parse(text);
  return true;
}

void Properties::reload(const std::string& path, bool quiet) {
  Properties fresh;
  fresh.load(path, quiet);
  const auto guard = lock();
  values_ = std::move(fresh.values_);
}

void Properties::parse(std::string_view text) {
  const auto guard = lock();
  forEachProperty(text, [this](std::string_view key, std::string value) {
    // The last line wins whole, with its spelling of the key.
    if (const auto old = values_.find(key); old != values_.end()) values_.erase(old);
    values_.emplace(key, std::move(value));
  });
}

Properties::Map Properties::all() const {
  const auto guard = lock();
  return values_;
}

bool Properties::empty() const {
  const auto guard = lock();
  return values_.empty();
}

std::string Properties::getProperty(std::string_view key, const std::string& fallback) const {
  const auto guard = lock();
  const auto found = values_.find(key);
  return found == values_.end() ? fallback : found->second;
}

std::string Properties::getProperty(const Property& property) const {
  return getProperty(property.key, std::string(property.value));
}

long Properties::getNumber(const Property& property, long low, long high) const {
  const auto standard = numberIn<long>(property.value);
  assert(standard && "a count has a number as its default");
  const long number = numberIn<long>(getProperty(property)).value_or(low - 1);
  return number < low || number > high ? standard.value_or(low) : number;
}

long Properties::getTime(std::string_view key, char unit, long fallback) const {
  assert(secondsIn(unit));
  const std::string value = getProperty(key, "");
  std::string_view text = value;
  const long seconds = takeUnit(text, unit);
  const auto number = numberIn<long>(text);
  long total = 0;
  if (!number || __builtin_mul_overflow(*number, seconds, &total)) return fallback;
  return total / secondsIn(unit).value_or(1);
}

int Properties::getLimitMs(const Property& property) const {
  constexpr double kLeastSeconds = 0.1;
  constexpr double kMostSeconds = 3600;
  const auto standard = secondsOf(property.value);
  assert(standard && "a limit has a time as its default");
  const double seconds =
      secondsOf(getProperty(property)).value_or(standard.value_or(kLeastSeconds));
  return static_cast<int>(std::lround(std::clamp(seconds, kLeastSeconds, kMostSeconds) * 1000));
}

bool Properties::getBool(const Property& property) const {
  const std::string value = toLower(getProperty(property));
  if (value == "true" || value == "yes" || value == "1") return true;
  return property.value == "true" && value != "false" && value != "no" && value != "0";
}

void Properties::set(std::string_view key, std::string value) {
  const auto guard = lock();
  const auto found = values_.find(key);
  if (found != values_.end()) {
    found->second = std::move(value);
  } else {
    values_.emplace(key, std::move(value));
  }
}

std::unique_lock<std::recursive_mutex> Properties::lock() const {
  return std::unique_lock(mutex_);
}

Properties& Props(bool reload, bool strict) {
  struct Shared {
    Properties properties;
    std::mutex mutex;
    bool loaded = false;
  };
  static auto* const shared = new Shared;  // never destroyed: read until the end of the process
  const std::scoped_lock guard(shared->mutex);
  if (reload || !shared->loaded) {
    shared->properties.reload(kConfigurationPath, !strict);
    shared->loaded = true;
  }
  return shared->properties;
}

std::string EscapeSpecialChars(const std::string& value) {
  return escapeOnOneLine(value);
}

}  // namespace tolk
