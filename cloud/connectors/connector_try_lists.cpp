// In which order connectors are tried.
#include "cloud/connectors/connector_try_lists.h"

#include <algorithm>
#include <set>

#include "cloud/connectors/cloud_connector.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

struct TryList {
  ConnectorList list;
  const char* name;       // as a choice is recorded
  const char* discarded;  // as a discard is recorded
};

constexpr std::array<TryList, ConnectorTryLists::kTryListCount> kTryLists{{
    {ConnectorList::sameSubnet, "current site same subnet",
     "Discard current connector from the same site same subnet list"},
    {ConnectorList::otherSubnet, "current site different subnet",
     "Discard current connector from the same site other subnet list"},
    {ConnectorList::site, "current site", "Discard current connector from the same site list"},
    {ConnectorList::otherSites, "other site", "Discard current connector from the other site list"},
}};

bool sameSite(const std::string& left, const std::string& right) {
  return !right.empty() && equalsIgnoringCase(left, right);
}

}  // namespace

void ConnectorTryLists::insertIntoTryList(const CloudConnector& connector, const std::string& site,
                                          const std::string& nextClosestSite, bool available) {
  const std::string& key = connector.key();
  if (!available) {
    logConnector(LogLevel::debug,
                 "insertIntoTryList: push in FQDN %s of cloud connector in temporarily unavailable "
                 "list",
                 {key});
    append(ConnectorList::unavailable, key);
  } else if (sameSite(connector.site, site)) {
    logConnector(LogLevel::debug,
                 "insertIntoTryList: push in FQDN %s of cloud connector in current site", {key});
    append(ConnectorList::site, key);
  } else if (sameSite(connector.site, nextClosestSite)) {
    logConnector(LogLevel::debug, "insertIntoTryList: nextClosestSite: %s", {nextClosestSite});
    logConnector(LogLevel::debug,
                 "insertIntoTryList: push in FQDN %s of cloud connector in other sites list head",
                 {key});
    at(ConnectorList::otherSites).insert(at(ConnectorList::otherSites).begin(), key);
  } else {
    logConnector(LogLevel::debug,
                 "insertIntoTryList: push in FQDN %s of cloud connector in other sites list tail",
                 {key});
    append(ConnectorList::otherSites, key);
  }
}

void ConnectorTryLists::rebuildTryList(const std::vector<CloudConnector>& connectors,
                                       const std::string& site,
                                       const std::string& nextClosestSite) {
  logConnector(LogLevel::debug, "rebuildTryList: site: %s nextClosestSite: %s",
               {site, nextClosestSite});
  std::set<std::string> tried;
  for (const TryList& row : kTryLists) {
    tried.insert(list(row.list).begin(), list(row.list).end());
    at(row.list).clear();
  }
  current_.reset();
  for (const CloudConnector& connector : connectors) {
    const std::string& key = connector.key();
    if (!tried.contains(key)) {
      logConnector(LogLevel::debug, "rebuildTryList: no need to insert %s into try list", {key});
    } else if (sameSite(connector.site, site)) {
      logConnector(LogLevel::debug, "rebuildTryList: insert %s into site try list", {key});
      append(ConnectorList::site, key);
    } else if (sameSite(connector.site, nextClosestSite)) {
      logConnector(LogLevel::debug, "rebuildTryList: insert %s into other site try list head",
                   {key});
      at(ConnectorList::otherSites).insert(at(ConnectorList::otherSites).begin(), key);
    } else {
      logConnector(LogLevel::debug, "rebuildTryList: insert %s into other site try list tail",
                   {key});
      append(ConnectorList::otherSites, key);
    }
  }
}

void ConnectorTryLists::moveToSubnet(const std::string& key, bool same) {
  if (!remove(ConnectorList::site, key)) return;
  append(same ? ConnectorList::sameSubnet : ConnectorList::otherSubnet, key);
}

void ConnectorTryLists::discard(const std::string& key) {
  const std::optional<ConnectorList> place = placeOf(key);
  if (!place) return;
  remove(*place, key);
  append(ConnectorList::discarded, key);
  if (current_ && current_->key == key) current_.reset();
}

bool ConnectorTryLists::nothingLeft() const noexcept {
  return std::all_of(kTryLists.begin(), kTryLists.end(),
                     [this](const TryList& row) { return list(row.list).empty(); });
}

bool ConnectorTryLists::selectCurrentCloudConnector() {
  current_.reset();
  const auto empty = [this](const TryList& row) { return list(row.list).empty(); };
  if (std::all_of(kTryLists.begin(), kTryLists.end() - 1, empty)) {
    logConnector(LogLevel::debug,
                 "All connectors in current site are tried yet found none available.");
  }
  const auto* const row = std::find_if_not(kTryLists.begin(), kTryLists.end(), empty);
  if (row == kTryLists.end()) {
    logConnector(LogLevel::warning, "All connectors are tried yet found none available.");
    return false;
  }
  current_ = Current{.key = list(row->list).front(), .from = row->list};
  logConnector(LogLevel::debug, "Connector(host DC FQDN=%s) in %s will be tried.",
               {current_->key, row->name});
  return true;
}

void ConnectorTryLists::resetCurrentCloudConnector() {
  if (!current_) return;
  const auto* const row = std::find_if(kTryLists.begin(), kTryLists.end(), [this](const auto& it) {
    return it.list == current_->from;
  });
  if (row != kTryLists.end() && remove(current_->from, current_->key)) {
    logConnector(LogLevel::debug, row->discarded);
    append(ConnectorList::discarded, current_->key);
  } else {
    logConnector(LogLevel::error, "The current connector is not found in any list, FIX the CODE!");
  }
  current_.reset();
  if (nothingLeft()) {
    logConnector(LogLevel::warning, "No connector will be available until next refresh.");
  }
}

std::optional<ConnectorList> ConnectorTryLists::placeOf(const std::string& key) const {
  for (const TryList& row : kTryLists) {
    const Keys& keys = list(row.list);
    if (std::find(keys.begin(), keys.end(), key) != keys.end()) return row.list;
  }
  return std::nullopt;
}

bool ConnectorTryLists::remove(ConnectorList from, const std::string& key) {
  Keys& keys = at(from);
  const auto found = std::find(keys.begin(), keys.end(), key);
  if (found == keys.end()) return false;
  keys.erase(found);
  return true;
}

}  // namespace tolk
