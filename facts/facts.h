// Everything that is known about this host's membership at one time: what the rules of joincheck
// judge, and what a facts file holds. No key, password, ticket or hash is among it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "facts/subjects/agent.h"
#include "facts/subjects/directory.h"
#include "facts/subjects/host.h"
#include "facts/subjects/join.h"
#include "facts/subjects/kerberos.h"
#include "facts/subjects/keytab.h"
#include "facts/subjects/network.h"
#include "facts/subjects/resolver.h"

namespace joinscope::facts {

/// How and when they were gathered.
struct Run {
  std::int64_t schema = 1;              ///< of the facts file; a newer one is refused
  std::string version;                  ///< of the program
  bool joining = false;                 ///< for a host that is to be joined (--join)
  std::string server;                   ///< only this controller was asked (--server)
  double seconds = 0;                   ///< it took
  std::string cut;                      ///< what ended it early; "" when it is whole
  std::vector<std::string> unfinished;  ///< the subjects that were still being asked then

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("schema", self.schema);
    visit("version", self.version);
    visit("joining", self.joining);
    visit("server", self.server);
    visit("seconds", self.seconds);
    visit("cut", self.cut);
    visit("unfinished", self.unfinished);
  }
};

struct Facts {
  Run run;
  Host host;
  Join join;
  Keytab keytab;
  Resolver resolver;
  Network network;
  Kerberos kerberos;
  Directory directory;
  Agent agent;
  Platform platform;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("run", self.run);
    visit("host", self.host);
    visit("join", self.join);
    visit("keytab", self.keytab);
    visit("resolver", self.resolver);
    visit("network", self.network);
    visit("kerberos", self.kerberos);
    visit("directory", self.directory);
    visit("agent", self.agent);
    visit("platform", self.platform);
  }
};

}  // namespace joinscope::facts
