// The machine keytab as it lies on the disk; the keys themselves stay there.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "facts/asked.h"

namespace joinscope::facts {

/// One key of the keytab without the key.
struct Key {
  std::string principal;
  std::string realm;
  std::int64_t version = 0;
  std::int64_t encryption = 0;  ///< RFC 3961, 8
  std::string encryptionName;
  std::int64_t written = 0;  ///< seconds since 1970

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("principal", self.principal);
    visit("realm", self.realm);
    visit("version", self.version);
    visit("encryption", self.encryption);
    visit("encryptionName", self.encryptionName);
    visit("written", self.written);
  }
};

struct Keytab {
  std::string path;
  Asked read;
  bool damaged = false;    ///< it is there and can be opened, but is no keytab to its end
  std::int64_t owner = 0;  ///< user id
  std::int64_t mode = 0;   ///< permission bits
  std::vector<Key> keys;   ///< in the order of the file
  std::string account;     ///< the computer account that it has keys of, "NAME$@REALM"; "" for none

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("path", self.path);
    visit("read", self.read);
    visit("damaged", self.damaged);
    visit("owner", self.owner);
    visit("mode", self.mode);
    visit("keys", self.keys);
    visit("account", self.account);
  }
};

Keytab readKeytab();

}  // namespace joinscope::facts
