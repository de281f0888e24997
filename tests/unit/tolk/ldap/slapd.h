// A directory server of the tests' own on loopback: slapd(8) with a small tree, and listeners that
// do not behave like one.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <string>

#include "tolk/base/handle.h"

namespace tolk::test {

/// The tree under "DC=lab,DC=test": 60 people "cn=u00" to "cn=u59" below "OU=People", each with its
/// name as `sn`; "CN=odd" with an empty, a binary and a huge value.
class Slapd {
 public:
  static constexpr int kPeople = 60;
  static constexpr std::size_t kHugeBytes = 3u << 20;

  /// Starts the server and waits until it answers; throws std::runtime_error when it cannot.
  Slapd();
  Slapd(const Slapd&) = delete;
  Slapd& operator=(const Slapd&) = delete;
  ~Slapd();

  /// Whether the server program is installed.
  static bool available();

  /// "127.0.0.1:PORT"
  [[nodiscard]] const std::string& address() const noexcept { return address_; }
  /// Stops the server in its tracks: connections stay open, nothing answers; or lets it go on.
  void freeze() const;
  void thaw() const;
  /// Ends it; connections break.
  void kill();

 private:
  std::filesystem::path directory_;
  std::string address_;
  pid_t pid_ = -1;
};

/// A port on loopback: with `backlog`, the kernel accepts connections there and nobody ever
/// answers.
class Listener {
 public:
  Listener();
  /// "127.0.0.1:PORT"
  [[nodiscard]] const std::string& address() const noexcept { return address_; }
  [[nodiscard]] int port() const noexcept { return port_; }
  /// Accepts one connection.
  [[nodiscard]] UniqueFd accept() const;

 private:
  UniqueFd socket_;
  std::string address_;
  int port_ = 0;
};

}  // namespace tolk::test
