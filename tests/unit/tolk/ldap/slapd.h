// A directory server of the tests' own on loopback: slapd(8) with a small tree.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "tests/support/tcp_port.h"
#include "tests/unit/tolk/base/child_process.h"
#include "tests/unit/tolk/base/scratch_directory.h"

namespace tolk::test {

/// The tree under "DC=lab,DC=test": 60 people "cn=u00" to "cn=u59" below "OU=People", each with its
/// name as `sn`; "CN=odd" with an empty, a binary and a huge value.
class Slapd {
 public:
  static constexpr int kPeople = 60;
  static constexpr std::size_t kHugeBytes = 3u << 20;

  /// Starts the server and waits until it accepts. `settings` (slapd.conf(5)) and `more` add to its
  /// database.
  explicit Slapd(const std::string& settings = {}, const std::string& more = {});

  /// Whether the server program is installed.
  static bool available();

  /// "127.0.0.1:PORT"
  [[nodiscard]] const std::string& address() const noexcept { return address_; }
  /// Stops the server in its tracks: connections stay open, nothing answers; or lets it go on.
  void freeze() const;
  void thaw() const;
  /// Ends it; connections break.
  void kill() { process_.reset(); }

 private:
  ScratchDirectory directory_;
  std::string address_ = Listener().address();
  std::optional<ChildProcess> process_;
};

}  // namespace tolk::test
