// Which domain this host is joined to, and who says so: the agent's settings, the keytab, the
// Kerberos configuration, other agents.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "facts/asked.h"

namespace joinscope::facts {

/// Another program on this host that uses the join, where it is configured for a domain.
struct OtherAgent {
  std::string name;    ///< "sssd", "winbind"
  std::string domain;  ///< that it is configured for
  bool running = false;
  Asked state;  ///< asking it whether it has its domain's controllers
  bool online = false;
  std::string answer;                    ///< what it said
  std::vector<std::string> controllers;  ///< the only ones that it may ask; none: those in DNS

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("name", self.name);
    visit("domain", self.domain);
    visit("running", self.running);
    visit("state", self.state);
    visit("online", self.online);
    visit("answer", self.answer);
    visit("controllers", self.controllers);
  }
};

struct Join {
  Asked settings;                   ///< reading the agent's join settings
  std::vector<std::string> damage;  ///< what keeps them from being told, a sentence each
  std::string domain;   ///< of which everything is asked, in lower case; "" when nobody names one
  std::string namedBy;  ///< who names it: "the join settings", "/etc/krb5.keytab", "--join" ...
  std::string joinedDomain;         ///< by the join settings; "" without
  std::string joinedHost;           ///< fully qualified name at the join
  std::string account;              ///< of the computer, without "$": the pre-Windows-2000 name
  std::string site;                 ///< that the settings record
  std::string controller;           ///< that the settings record
  std::string domainSid;            ///< of the settings' SID of this host, without the last part
  Asked secrets;                    ///< reading Samba's secrets.tdb; not asked where there is none
  std::int64_t secretsChanged = 0;  ///< when the password in it was set, seconds since 1970
  std::vector<OtherAgent> agents;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("settings", self.settings);
    visit("damage", self.damage);
    visit("domain", self.domain);
    visit("namedBy", self.namedBy);
    visit("joinedDomain", self.joinedDomain);
    visit("joinedHost", self.joinedHost);
    visit("account", self.account);
    visit("site", self.site);
    visit("controller", self.controller);
    visit("domainSid", self.domainSid);
    visit("secrets", self.secrets);
    visit("secretsChanged", self.secretsChanged);
    visit("agents", self.agents);
  }
};

/// What the join settings say; no network.
Join readJoin();

}  // namespace joinscope::facts
