// What the directory thread tells the rest of the daemon about itself.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace velkd {

/// What the directory last said about this host's own computer object.
enum class ObjectState {
  unknown,
  usable,
  missing,  ///< there is no object with the recorded identifier
  foreign,  ///< nor can there be: the identifier is not of the joined domain
  disabled,
};

/// A picture of the daemon's work with the directory.
struct DirectoryStatus {
  bool joined = false;
  bool connected = false;
  std::string domain;      ///< DNS name
  std::string forest;      ///< DNS name of its root domain
  std::string controller;  ///< host name, "" while not connected
  std::string principal;   ///< the computer account
  std::string objectDn;    ///< the computer object; "" until it was seen
  ObjectState object = ObjectState::unknown;
  std::vector<std::string> accountProblems;  ///< that the account has, or its keys in the keytab
  std::time_t connectedSince = 0;
  std::time_t ticketEnd = 0;
  std::time_t lastCheck = 0;  ///< when the object was last looked at
  unsigned connects = 0;      ///< successful ones; all but the first are reconnects
  unsigned failures = 0;      ///< failed attempts since the last success
  std::string lastFailure;    ///< of the last failed attempt or read; "" after a success
  std::uint64_t cacheHits = 0;
  std::uint64_t cacheMisses = 0;
  bool rangesKnown = false;
  std::map<std::string, std::string> ranges;  ///< identifier range by upper-case domain name
};

/// The one copy that both threads use.
class StatusBoard {
 public:
  [[nodiscard]] DirectoryStatus get() const {
    const std::lock_guard lock(mutex_);
    return status_;
  }
  template <typename Change>
  void update(const Change& change) {
    const std::lock_guard lock(mutex_);
    change(status_);
  }

 private:
  mutable std::mutex mutex_;
  DirectoryStatus status_;
};

}  // namespace velkd
