// A keytab (MIT Kerberos, "Keytab file format"), for the time of one test the one of this process.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace joinscope::test {

/// A key to write; the name of its principal has no escapes.
struct KeytabKey {
  std::string principal;
  unsigned version;
  std::uint32_t time;  ///< seconds since 1970
  int encryption = 18;
};

class KeytabFile {
 public:
  explicit KeytabFile(const std::vector<KeytabKey>& keys = {}) {
    for (const KeytabKey& key : keys) bytes_ += entry(key);
    directory_.write("test.keytab", bytes_);
    tolk::Props().set(tolk::PN::KRB5_KEYTAB_NAME, path());
  }

  void add(const KeytabKey& key) { directory_.write("test.keytab", bytes_ += entry(key)); }
  [[nodiscard]] std::string path() const { return directory_.path("test.keytab"); }

 private:
  static std::string number(std::size_t value, int bytes) {
    std::string text;
    while (--bytes >= 0) text += static_cast<char>(value >> (8 * bytes));
    return text;
  }
  static std::string counted(const std::string& text) { return number(text.size(), 2) + text; }

  static std::string entry(const KeytabKey& key) {
    constexpr std::size_t kAes256 = 18;
    const auto encryption = static_cast<std::size_t>(key.encryption);
    const std::size_t at = key.principal.find('@');
    const auto components = tolk::split(key.principal.substr(0, at), '/');
    std::string text = number(components.size(), 2) + counted(key.principal.substr(at + 1));
    for (const std::string& component : components) text += counted(component);
    text += number(1, 4) + number(key.time, 4) + number(key.version, 1) + number(encryption, 2) +
            counted(std::string(encryption == kAes256 ? 32 : 16, 'k'));
    return number(text.size(), 4) + text;
  }

  ScratchDirectory directory_;
  std::string bytes_{"\x05\x02", 2};
};

}  // namespace joinscope::test
