// Every struct of facts lists its members once (fields()); the writer and the reader here are the
// two that visit them.
#include "facts/facts_file.h"

// first: it sets what RapidJSON is compiled with
#include "tolk/base/json.h"

#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"

namespace joinscope::facts {
namespace {

class Writer {
 public:
  template <typename T>
  void operator()(const char* name, const T& value) {
    out_.Key(name);
    write(value);
  }
  template <typename T>
  void write(const T& object) {
    out_.StartObject();
    T::fields(object, *this);
    out_.EndObject();
  }
  [[nodiscard]] std::string text() const { return {text_.GetString(), text_.GetSize()}; }

 private:
  void write(bool value) { out_.Bool(value); }
  void write(std::int64_t value) { out_.Int64(value); }
  void write(double value) { out_.Double(std::isfinite(value) ? value : 0); }
  void write(const std::string& value) {
    const std::string valid = tolk::isUtf8(value) ? value : tolk::printable(value);
    out_.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
  }
  void write(Outcome value) { out_.String(kOutcomeNames[static_cast<std::size_t>(value)]); }
  template <typename T>
  void write(const std::optional<T>& value) {
    if (value) {
      write(*value);
    } else {
      out_.Null();
    }
  }
  template <typename T>
  void write(const std::vector<T>& values) {
    out_.StartArray();
    for (const T& value : values) write(value);
    out_.EndArray();
  }

  rapidjson::StringBuffer text_;
  rapidjson::Writer<rapidjson::StringBuffer> out_{text_};
};

/// Reads the members of one JSON object; `path` is its place, for messages.
class Reader {
 public:
  Reader(const tolk::json::Value& object, std::string path)
      : object_(object), path_(std::move(path)) {
    if (!object.IsObject()) wrong(path_, "an object");
  }

  template <typename T>
  void operator()(const char* name, T& value) {
    const tolk::json::Value* member = tolk::json::findMember(object_, name);
    if (member != nullptr) read(*member, value, path_.empty() ? name : path_ + "." + name);
  }

 private:
  [[noreturn]] static void wrong(const std::string& path, const char* wanted) {
    throw tolk::BadDataException((path.empty() ? "The whole" : path) + " is not " + wanted);
  }

  static void read(const tolk::json::Value& from, bool& value, const std::string& path) {
    if (!from.IsBool()) wrong(path, "true or false");
    value = from.GetBool();
  }
  static void read(const tolk::json::Value& from, std::int64_t& value, const std::string& path) {
    if (!from.IsInt64() || from.GetInt64() > kMost || from.GetInt64() < -kMost) {
      wrong(path, "a whole number of at most 15 digits");
    }
    value = from.GetInt64();
  }
  static void read(const tolk::json::Value& from, double& value, const std::string& path) {
    if (!from.IsNumber() || std::abs(from.GetDouble()) > static_cast<double>(kMost)) {
      wrong(path, "a number of at most 15 digits");
    }
    value = from.GetDouble();
  }
  static void read(const tolk::json::Value& from, std::string& value, const std::string& path) {
    if (!from.IsString()) wrong(path, "a text");
    value.assign(from.GetString(), from.GetStringLength());
  }
  static void read(const tolk::json::Value& from, Outcome& value, const std::string& path) {
    std::string name;
    read(from, name, path);
    const auto* const found = std::ranges::find(kOutcomeNames, name);
    if (found == std::end(kOutcomeNames)) wrong(path, "the name of an outcome");
    value = static_cast<Outcome>(found - std::begin(kOutcomeNames));
  }
  template <typename T>
  static void read(const tolk::json::Value& from, std::optional<T>& value,
                   const std::string& path) {
    read(from, value.emplace(), path);
  }
  template <typename T>
  static void read(const tolk::json::Value& from, std::vector<T>& values, const std::string& path) {
    if (!from.IsArray()) wrong(path, "a list");
    values.clear();
    for (const tolk::json::Value& element : from.GetArray()) {
      const std::string place = path + "[" + std::to_string(values.size()) + "]";
      read(element, values.emplace_back(), place);
    }
  }
  template <typename T>
  static void read(const tolk::json::Value& from, T& value, const std::string& path) {
    T::fields(value, Reader(from, path));
  }

  // What rules may add and subtract without a thought.
  static constexpr std::int64_t kMost = 999'999'999'999'999;

  const tolk::json::Value& object_;
  std::string path_;
};

}  // namespace

std::string writeFacts(const Facts& facts) {
  Writer writer;
  writer.write(facts);
  return writer.text() + "\n";
}

Facts readFacts(std::string_view text) {
  const tolk::json::Document document = tolk::json::parse(text);
  Facts facts;
  facts.run.schema = 0;
  const std::int64_t known = Run{}.schema;
  Facts::fields(facts, Reader(document, ""));
  if (facts.run.schema < 1) throw tolk::BadDataException("run.schema is missing: no facts file");
  if (facts.run.schema > known) {
    throw tolk::BadDataException("run.schema is " + std::to_string(facts.run.schema) +
                                 ": written by a newer joincheck; this one reads up to " +
                                 std::to_string(known));
  }
  return facts;
}

}  // namespace joinscope::facts
