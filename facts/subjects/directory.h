// What the directory says about this host's account, its site and its domain.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "facts/asked.h"

namespace joinscope::facts {

/// The computer's object.
struct Account {
  Asked read;  ///< refused with LDAP code 32: there is no such object
  std::string dn;
  std::string name;                  ///< sAMAccountName
  std::int64_t control = 0;          ///< userAccountControl (MS-ADTS 2.2.16)
  std::int64_t computed = 0;         ///< msDS-User-Account-Control-Computed
  std::int64_t keyVersion = 0;       ///< msDS-KeyVersionNumber; 0 when not told
  std::int64_t passwordSet = 0;      ///< seconds since 1970; 0 when not told
  std::int64_t expires = 0;          ///< seconds since 1970; 0 for never
  std::int64_t encryptionTypes = 0;  ///< msDS-SupportedEncryptionTypes
  std::string dnsHostName;
  std::string sid;
  std::string operatingSystem;
  std::vector<std::string> spns;
  std::vector<std::string> claimants;  ///< names of other objects with one of its host/ names

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("read", self.read);
    visit("dn", self.dn);
    visit("name", self.name);
    visit("control", self.control);
    visit("computed", self.computed);
    visit("keyVersion", self.keyVersion);
    visit("passwordSet", self.passwordSet);
    visit("expires", self.expires);
    visit("encryptionTypes", self.encryptionTypes);
    visit("dnsHostName", self.dnsHostName);
    visit("sid", self.sid);
    visit("operatingSystem", self.operatingSystem);
    visit("spns", self.spns);
    visit("claimants", self.claimants);
  }
};

struct Directory {
  std::string server;  ///< "host:port" of the bind
  Asked bind;          ///< with the machine's ticket, signed and sealed
  Asked catalog;       ///< a bind to a global catalog
  Asked plainBind;     ///< an empty bind without signing: what the controller says to it
  Account account;
  std::string domainSid;
  Asked siteServers;  ///< reading the servers of this host's site
  std::vector<std::string> siteControllers;
  std::int64_t machineQuota = -1;  ///< ms-DS-MachineAccountQuota; -1 when not told
  std::int64_t lockoutThreshold = 0;
  Asked trusts;
  std::vector<std::string> trustedDomains;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("server", self.server);
    visit("bind", self.bind);
    visit("catalog", self.catalog);
    visit("plainBind", self.plainBind);
    visit("account", self.account);
    visit("domainSid", self.domainSid);
    visit("siteServers", self.siteServers);
    visit("siteControllers", self.siteControllers);
    visit("machineQuota", self.machineQuota);
    visit("lockoutThreshold", self.lockoutThreshold);
    visit("trusts", self.trusts);
    visit("trustedDomains", self.trustedDomains);
  }
};

}  // namespace joinscope::facts
