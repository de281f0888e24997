// In which order connectors are tried: lists of their keys by nearness, and the one in use. No
// network and no lock; the owner guards it.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cloud/connectors/cloud_connector.h"

namespace tolk {

/// The lists. A connector is in one of them at most.
enum class ConnectorList : std::size_t {
  sameSubnet,   ///< in this host's site and subnet
  otherSubnet,  ///< in this host's site, another subnet
  site,         ///< in this host's site, the subnet not known or not asked for
  otherSites,   ///< those of the next closest site at the head
  unavailable,  ///< found, but not usable now
  discarded,    ///< dropped after a failure
  invalid,      ///< keywords missing or wrong
};

class ConnectorTryLists {
 public:
  static constexpr std::size_t kTryListCount =
      4;  ///< the first of the lists, in the order of choice

  using Keys = std::vector<std::string>;

  [[nodiscard]] const Keys& list(ConnectorList which) const noexcept {
    return lists_[static_cast<std::size_t>(which)];
  }
  /// Appends without a record: what was stored, and what is invalid.
  void append(ConnectorList which, const std::string& key) { at(which).push_back(key); }

  /// Puts a valid connector where it belongs, seen from `site`.
  void insertIntoTryList(const CloudConnector& connector, const std::string& site,
                         const std::string& nextClosestSite, bool available);

  /// Sorts the connectors that are to be tried anew, after this host has changed its site; the
  /// others stay where they are. None is current afterwards.
  void rebuildTryList(const std::vector<CloudConnector>& connectors, const std::string& site,
                      const std::string& nextClosestSite);

  /// Moves a connector of this host's site to the list of its subnet.
  void moveToSubnet(const std::string& key, bool same);

  /// Drops a connector, in use or not, from where it is to be tried.
  void discard(const std::string& key);

  /// Whether nothing is left to be tried.
  [[nodiscard]] bool nothingLeft() const noexcept;

  /// Chooses the first connector of the first list that has one; false when none has.
  bool selectCurrentCloudConnector();

  /// Drops the connector in use until the lists are built again. Nothing happens without one.
  void resetCurrentCloudConnector();

  /// The key of the connector in use, "" when none is.
  [[nodiscard]] std::string current() const { return current_ ? current_->key : std::string(); }

  /// Where a connector is to be tried, if it is.
  [[nodiscard]] std::optional<ConnectorList> placeOf(const std::string& key) const;

 private:
  struct Current {
    std::string key;
    ConnectorList from;
  };
  [[nodiscard]] Keys& at(ConnectorList which) noexcept {
    return lists_[static_cast<std::size_t>(which)];
  }
  bool remove(ConnectorList from, const std::string& key);

  std::array<Keys, 7> lists_;
  std::optional<Current> current_;
};

}  // namespace tolk
