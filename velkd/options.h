// The command line of velkd.
#pragma once

#include <string>

namespace velkd {

enum class Action {
  daemon,
  adopt,
  unadopt,
  setProxyCredential,
  clearProxyCredential,
  mfa,
  reload,
  help,
  version
};

/// How the zone of an adopted join is chosen.
enum class ZoneChoice { automatic, none, named };

struct Options {
  Action action = Action::daemon;
  std::string domain;  ///< of --domain; "" takes the one of the keytab
  ZoneChoice zoneChoice = ZoneChoice::automatic;
  std::string zone;     ///< distinguished name, of --zone
  std::string schema;   ///< of --schema; goes with --zone
  std::string user;     ///< of proxy-credential set and of mfa
  std::string command;  ///< of --command; goes with mfa
  std::string problem;  ///< why this is no valid command line; "" when it is
};

/// Reads the command line. Prints nothing.
[[nodiscard]] Options parseOptions(int argc, char** argv);

extern const char* const kUsage;

}  // namespace velkd
