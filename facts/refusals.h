// What this host has shown to a controller in vain: a key or a password that is refused again and
// again locks its account, so that it is shown seldom.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tolk/base/handle.h"

namespace joinscope::facts {

/// The record of this user's runs: /run/joincheck/refused, root's alone; for others
/// /tmp/joincheck-UID/refused. No secret is in it. Locked as long as this object lives, so that of
/// two runs at a time the second one knows what became of the first.
class Refusals {
 public:
  struct Entry {
    std::string owner;       ///< the state of a keytab, or a user: what the secret belongs to
    std::string what;        ///< which of its secrets: an encryption type, "password"
    std::int64_t count = 0;  ///< refusals one after the other; 0: it was accepted
    std::int64_t last = 0;   ///< when, seconds since 1970
  };

  /// Throws IOException when the record cannot be kept: then nothing may be shown.
  Refusals();
  /// The same in a given folder, which is made.
  explicit Refusals(const std::string& folder);

  [[nodiscard]] std::optional<Entry> find(const std::string& owner, const std::string& what) const;
  /// Of a secret that was accepted before, also forgets that others of the owner were.
  void noteRefused(const std::string& owner, const std::string& what, std::int64_t now);
  void noteAccepted(const std::string& owner, const std::string& what, std::int64_t now);

  /// Whether it may be shown once more: half an hour after the first refusal, from the second on
  /// once a day. Domains forget wrong passwords after minutes or hours (lockOutObservationWindow),
  /// so that these never add up to a threshold of 3. Pure.
  [[nodiscard]] static bool mayShow(const Entry& entry, std::int64_t now);

 private:
  Entry& at(const std::string& owner, const std::string& what);
  void save();

  tolk::UniqueFd file_;
  std::vector<Entry> entries_;  // the newest last
};

}  // namespace joinscope::facts
