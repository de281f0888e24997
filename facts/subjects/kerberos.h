// Kerberos as this host is configured for it, by joincheck's own way and as other programs go.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "facts/asked.h"

namespace joinscope::facts {

/// krb5.conf(5) as the library reads it.
struct KerberosConfig {
  std::vector<std::string> files;  ///< that the library was told to read
  Asked read;                      ///< failed: a file is malformed
  std::string malformed;           ///< which
  std::string aside;               ///< where the agent has moved a malformed one that is gone
  std::string defaultRealm;
  std::string domainRealm;        ///< to which the domain's name is mapped; "" for none
  std::vector<std::string> kdcs;  ///< that the realm's section names
  bool lookupKdc = true;
  bool reverseNames = true;             ///< rdns
  std::vector<std::int64_t> permitted;  ///< encryption types, RFC 3961

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("files", self.files);
    visit("read", self.read);
    visit("malformed", self.malformed);
    visit("aside", self.aside);
    visit("defaultRealm", self.defaultRealm);
    visit("domainRealm", self.domainRealm);
    visit("kdcs", self.kdcs);
    visit("lookupKdc", self.lookupKdc);
    visit("reverseNames", self.reverseNames);
    visit("permitted", self.permitted);
  }
};

/// A login, with the reason that a controller gives in the error data of its refusal.
struct Login {
  Asked asked;
  std::int64_t status = 0;  ///< NT status (MS-ERREF 2.3.1); 0 when none was given

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("asked", self.asked);
    visit("status", self.status);
  }
};

/// One key of the computer account, shown to a key distribution center by a pre-authentication.
struct ProvedKey {
  std::int64_t version = 0;
  std::int64_t encryption = 0;
  std::string encryptionName;
  Asked asked;
  std::int64_t refusedAt = 0;  ///< by an earlier run, for which it was not shown; 0 for never

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("version", self.version);
    visit("encryption", self.encryption);
    visit("encryptionName", self.encryptionName);
    visit("asked", self.asked);
    visit("refusedAt", self.refusedAt);
  }
};

/// A key distribution center that krb5.conf names.
struct ConfiguredKdc {
  std::string name;  ///< as written: "dc1.lab.test", "10.1.1.5:88"
  Asked asked;       ///< answered: a KDC answers behind TCP port 88, or the one that is written

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("name", self.name);
    visit("asked", self.asked);
  }
};

/// How kinit(1), SSSD and ssh(1) see the domain: through the host's own configuration.
struct HostWay {
  std::vector<ConfiguredKdc> kdcs;     ///< of the realm's section
  std::string step;                    ///< what was being asked last; "" at the end
  Login login;                         ///< a ticket for the computer account
  std::string controller;              ///< DNS name of the one that the next three are about
  Asked lookup;                        ///< getaddrinfo(3) for it
  std::vector<std::string> addresses;  ///< that it gave
  std::string canonicalName;           ///< the controller's name as the library makes it
  Asked ticket;                        ///< for ldap/canonicalName

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("kdcs", self.kdcs);
    visit("step", self.step);
    visit("login", self.login);
    visit("controller", self.controller);
    visit("lookup", self.lookup);
    visit("addresses", self.addresses);
    visit("canonicalName", self.canonicalName);
    visit("ticket", self.ticket);
  }
};

struct Kerberos {
  KerberosConfig config;
  std::string account;          ///< whose keys are shown, "NAME$@REALM"; "" without
  std::vector<ProvedKey> keys;  ///< those of the highest version, in the order in which they go
  std::int64_t attempts = 0;    ///< pre-authentications with a key of this host, good or bad
  Login login;                  ///< a ticket for the computer account, by the own way
  Login inTime;                 ///< the same by the KDC's clock, where this host's was refused
  HostWay hostWay;
  std::string user;  ///< whose password is tried; "" for nobody's
  Login userLogin;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("config", self.config);
    visit("account", self.account);
    visit("keys", self.keys);
    visit("attempts", self.attempts);
    visit("login", self.login);
    visit("inTime", self.inTime);
    visit("hostWay", self.hostWay);
    visit("user", self.user);
    visit("userLogin", self.userLogin);
  }
};

/// Reads krb5.conf and what it includes; changes nothing, whatever it finds.
KerberosConfig readKerberosConfig(const std::string& domain);

}  // namespace joinscope::facts
