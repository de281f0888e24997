// What this host knows about its join: names, controller, site.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace joinscope {

/// One join setting. None when it is missing, or cannot be read, which is a trouble
/// (tolk/base/troubles.h).
std::optional<std::string> joinSetting(std::string_view key);

/// The names of a joined host; it knows them by itself.
struct JoinFacts {
  std::string localHostName;
  std::string domain;
  std::optional<std::string> joinedAs;
  std::optional<std::string> preWin2kName;
};

JoinFacts readJoinFacts(const std::string& domain);

/// Where it is; the daemon or a controller may be asked for it.
struct PlaceFacts {
  std::string controller;  ///< "": not known
  std::optional<std::string> preferredSite;
  std::optional<std::string> subnetSite;  ///< looked at with a connected daemon only
};

}  // namespace joinscope
