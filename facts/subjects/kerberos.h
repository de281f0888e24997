// Kerberos as this host is configured for it, by joincheck's own way and as other programs go.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "facts/asked.h"

namespace joinscope::facts {

/// krb5.conf(5) as the library reads it.
struct KerberosConfig {
  Asked read;             ///< failed: a file is malformed
  std::string malformed;  ///< which
  std::string defaultRealm;
  std::string domainRealm;        ///< to which the domain's name is mapped; "" for none
  std::vector<std::string> kdcs;  ///< that the realm's section names
  bool lookupKdc = true;
  bool reverseNames = true;             ///< rdns
  std::vector<std::int64_t> permitted;  ///< encryption types, RFC 3961

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("read", self.read);
    visit("malformed", self.malformed);
    visit("defaultRealm", self.defaultRealm);
    visit("domainRealm", self.domainRealm);
    visit("kdcs", self.kdcs);
    visit("lookupKdc", self.lookupKdc);
    visit("reverseNames", self.reverseNames);
    visit("permitted", self.permitted);
  }
};

/// One key of the computer account, shown to a key distribution center by a pre-authentication.
struct ProvedKey {
  std::int64_t version = 0;
  std::int64_t encryption = 0;
  std::string encryptionName;
  Asked asked;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("version", self.version);
    visit("encryption", self.encryption);
    visit("encryptionName", self.encryptionName);
    visit("asked", self.asked);
  }
};

struct Kerberos {
  KerberosConfig config;
  std::vector<ProvedKey> keys;  ///< those of the highest version
  Asked login;                  ///< a ticket for the computer account, by the own way
  Asked hostWay;  ///< the same with the host's configuration, and a service ticket for `service`
  std::string service;   ///< the controller's principal that was asked for by the host's way
  std::string hostName;  ///< the controller's name as the host's way makes it
  std::string user;      ///< whose password is tried; "" for nobody's
  Asked userLogin;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("config", self.config);
    visit("keys", self.keys);
    visit("login", self.login);
    visit("hostWay", self.hostWay);
    visit("service", self.service);
    visit("hostName", self.hostName);
    visit("user", self.user);
    visit("userLogin", self.userLogin);
  }
};

/// Reads krb5.conf and what it includes; changes nothing, whatever it finds.
KerberosConfig readKerberosConfig(const std::string& domain);

}  // namespace joinscope::facts
