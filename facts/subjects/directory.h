// What the directory says about this host's account, its site and its domain.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "facts/asked.h"

namespace tolk {
class ADObject;
}

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
  std::string joinedSid;  ///< that the join settings record; "" without
  std::string operatingSystem;
  std::vector<std::string> spns;
  Asked claims;                        ///< searching the forest, else the domain, for
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
    visit("joinedSid", self.joinedSid);
    visit("operatingSystem", self.operatingSystem);
    visit("spns", self.spns);
    visit("claims", self.claims);
    visit("claimants", self.claimants);
  }
};

/// What is to be read of the object for takeAccount(), which fills all but `read`, `joinedSid` and
/// the claims; a null ends the list. Throws SystemException for a value that is no number,
/// BadDataException for a damaged identifier.
extern const char* const kAccountAttributes[];
void takeAccount(const tolk::ADObject& object, Account& account);

/// The rules of the domain for all its accounts.
struct Policy {
  Asked read;
  std::int64_t machineQuota = -1;     ///< ms-DS-MachineAccountQuota; -1 when not told
  std::int64_t lockoutThreshold = 0;  ///< wrong passwords that lock an account; 0: none do
  std::int64_t lockoutWindow = 0;     ///< seconds after which they are forgotten
  std::string computers;              ///< the container of new computer accounts

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("read", self.read);
    visit("machineQuota", self.machineQuota);
    visit("lockoutThreshold", self.lockoutThreshold);
    visit("lockoutWindow", self.lockoutWindow);
    visit("computers", self.computers);
  }
};

/// The account of the user whose password is tried.
struct UserAccount {
  Asked read;
  std::string dn;
  std::string sid;
  std::int64_t wrongPasswords = 0;  ///< badPwdCount, as far as it still counts
  std::int64_t limit = 0;           ///< that locks this account; 0 for none

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("read", self.read);
    visit("dn", self.dn);
    visit("sid", self.sid);
    visit("wrongPasswords", self.wrongPasswords);
    visit("limit", self.limit);
  }
};

/// What a join by the user would meet.
struct Joining {
  std::string account;         ///< the name that it would take, without "$"
  Asked names;                 ///< searching for an object of that name
  std::string taken;           ///< the object that has it; "" for none
  bool takenWritable = false;  ///< whether the user may change that one
  Asked rights;                ///< asking what the user may create
  bool mayCreate = false;      ///< computers, in the container of new accounts
  std::int64_t created = 0;    ///< computers that the user has joined by the quota

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("account", self.account);
    visit("names", self.names);
    visit("taken", self.taken);
    visit("takenWritable", self.takenWritable);
    visit("rights", self.rights);
    visit("mayCreate", self.mayCreate);
    visit("created", self.created);
  }
};

struct Directory {
  std::string server;          ///< "host:port" of the bind
  Asked bind;                  ///< signed and sealed, with the machine's ticket, else the user's
  std::string boundAs;         ///< "NAME$" or the user
  std::string saslProperties;  ///< SASL_SECPROPS of ldap.conf(5) that forbid signing; "" for none
  std::string saslFile;        ///< where they stand
  Asked plainBind;             ///< where there are such: a bind without signing, as by them
  Asked catalog;               ///< a bind to a global catalog
  std::string catalogServer;
  Account account;
  Policy policy;
  UserAccount user;
  Joining joining;
  std::string domainSid;
  Asked siteServers;  ///< reading the servers of this host's site
  std::vector<std::string> siteControllers;
  Asked trusts;
  std::vector<std::string> trustedDomains;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("server", self.server);
    visit("bind", self.bind);
    visit("boundAs", self.boundAs);
    visit("saslProperties", self.saslProperties);
    visit("saslFile", self.saslFile);
    visit("plainBind", self.plainBind);
    visit("catalog", self.catalog);
    visit("catalogServer", self.catalogServer);
    visit("account", self.account);
    visit("policy", self.policy);
    visit("user", self.user);
    visit("joining", self.joining);
    visit("domainSid", self.domainSid);
    visit("siteServers", self.siteServers);
    visit("siteControllers", self.siteControllers);
    visit("trusts", self.trusts);
    visit("trustedDomains", self.trustedDomains);
  }
};

}  // namespace joinscope::facts
