// A directory server of the tests' own on loopback: slapd(8) with a small tree, and listeners that
// do not behave like one.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "tests/unit/tolk/base/child_process.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/handle.h"

namespace tolk::test {

/// A port of the loopback interface where the system accepts connections and nobody answers.
class Listener {
 public:
  Listener();
  /// "127.0.0.1:PORT"
  [[nodiscard]] const std::string& address() const noexcept { return address_; }
  /// Accepts one connection.
  [[nodiscard]] UniqueFd accept() const;

 private:
  UniqueFd socket_;
  std::string address_;
};

/// An address that nobody listens at.
inline std::string refusingAddress() {
  return Listener().address();
}

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
  std::string address_ = refusingAddress();
  std::optional<ChildProcess> process_;
};

}  // namespace tolk::test
