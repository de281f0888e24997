// A keytab made by the Kerberos library, for the time of one test the one of this process.
#pragma once

#include <cstdint>
#include <string>

#include "tests/unit/tolk/base/scratch_directory.h"

namespace joinscope::test {

/// A key to write.
struct KeytabKey {
  std::string principal;
  unsigned version;
  std::uint32_t time;  ///< seconds since 1970
  int encryption = 18;
};

/// Empty at first: the version bytes of the format and nothing behind them.
class KeytabFile {
 public:
  KeytabFile();

  /// Appends a key.
  void add(const KeytabKey& key) const;
  [[nodiscard]] std::string path() const { return directory_.path("test.keytab"); }

 private:
  ScratchDirectory directory_;
};

}  // namespace joinscope::test
