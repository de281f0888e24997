// The reads that need nothing of each other go out together (PipelinedReads).
#include "facts/directory_reads.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <list>
#include <utility>

#include "facts/computer_object.h"
#include "facts/user_reads.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/base/times.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/ldap/pipelined_reads.h"
#include "tolk/ldap/sid.h"
#include "tolk/net/network_state.h"

namespace joinscope::facts {
namespace {

constexpr char kMachineQuota[] = "ms-DS-MachineAccountQuota";
constexpr char kLockoutThreshold[] = "lockoutThreshold";
constexpr char kLockoutWindow[] = "lockOutObservationWindow";
constexpr char kWellKnownObjects[] = "wellKnownObjects";
constexpr char kTrustPartner[] = "trustPartner";
constexpr int kNoSuchObject = 32;

constexpr const char* kDomainAttributes[] = {tolk::AD_OBJECT_SID, kMachineQuota,
                                             kLockoutThreshold,   kLockoutWindow,
                                             kWellKnownObjects,   nullptr};
constexpr const char* kTrustAttributes[] = {kTrustPartner, nullptr};
constexpr const char* kServerAttributes[] = {tolk::AD_DNS_HOST_NAME, nullptr};

std::int64_t numberIn(const tolk::ADObject& object, const char* name, std::int64_t unset) {
  return object.attributeExists(name, true) ? object[name].toInt64() : unset;
}

std::string sidIn(const tolk::ADObject& object) {
  const std::string bytes = object.getString(tolk::AD_OBJECT_SID, "");
  return bytes.empty() ? std::string() : tolk::SID::fromBinary(bytes).toString();
}

/// A value is "B:32:AA312825768811D1ADED00C04FD8D5CD:CN=Computers,DC=..." (MS-ADTS 6.1.1.4).
std::string computersContainer(const tolk::ADObject& domain) {
  constexpr std::string_view kMark = "B:32:AA312825768811D1ADED00C04FD8D5CD:";
  for (const std::string& value : domain.getStrings(kWellKnownObjects)) {
    if (value.starts_with(kMark)) return value.substr(kMark.size());
  }
  return {};
}

void takeDomain(const tolk::ADObject& object, Directory& directory) {
  constexpr std::int64_t kIntervalsPerSecond = 10'000'000;
  Policy& policy = directory.policy;
  directory.domainSid = sidIn(object);
  policy.machineQuota = numberIn(object, kMachineQuota, -1);
  policy.lockoutThreshold = numberIn(object, kLockoutThreshold, 0);
  policy.lockoutWindow = -(numberIn(object, kLockoutWindow, 0) / kIntervalsPerSecond);
  policy.computers = computersContainer(object);
}

class DirectoryReads {
 public:
  DirectoryReads(tolk::ADBinding& binding, const Facts& local)
      : binding_(binding),
        local_(local),
        domainDn_(tolk::LDAPBinding::DNSNameToDN(binding.domainName())) {}

  /// The computer's object, the domain, trusts, the site's servers.
  void readObjects(Directory& directory);
  /// The global catalog, and who claims the host's names there or in the domain.
  void readForest(Directory& directory);

 private:
  using Take = std::function<void(const tolk::ADObjectList&)>;
  struct Read {
    Asked& asked;
    Take take;
  };

  void addAccount(tolk::PipelinedReads& reads, Account& account);
  void addDomain(tolk::PipelinedReads& reads, Directory& directory);
  void addSite(tolk::PipelinedReads& reads, Directory& directory);
  void readAccountByName(Account& account);
  [[nodiscard]] std::string nameFilter() const;
  [[nodiscard]] std::list<std::string> hostNames(const Account& account) const;

  tolk::ADBinding& binding_;
  const Facts& local_;
  std::string domainDn_;
  std::vector<Read> waiting_;
};

std::string DirectoryReads::nameFilter() const {
  return "(sAMAccountName=" + tolk::DN::escapeLDAPFilter(computerName(local_)) + "$)";
}

void DirectoryReads::addAccount(tolk::PipelinedReads& reads, Account& account) {
  const Take take = [&account](const tolk::ADObjectList& objects) {
    if (!objects.empty()) return takeAccount(objects.front(), account);
    throw tolk::LDAPException("no object with the recorded identifier or name", kNoSuchObject);
  };
  if (account.joinedSid.empty()) {
    reads.add(nameFilter(), domainDn_, kAccountAttributes, tolk::SearchScope::subtree);
  } else {
    reads.add(tolk::AD_ALL_OBJECTS, tolk::SID(account.joinedSid).toDN(), kAccountAttributes,
              tolk::SearchScope::base);
  }
  waiting_.push_back({account.read, take});
}

void DirectoryReads::addDomain(tolk::PipelinedReads& reads, Directory& directory) {
  reads.add(tolk::AD_ALL_OBJECTS, domainDn_, kDomainAttributes, tolk::SearchScope::base);
  const Take takePolicy = [&directory](const tolk::ADObjectList& objects) {
    for (const tolk::ADObject& object : objects) takeDomain(object, directory);
  };
  waiting_.push_back({directory.policy.read, takePolicy});
  reads.add("(objectClass=trustedDomain)", "CN=System," + domainDn_, kTrustAttributes,
            tolk::SearchScope::oneLevel);
  const Take takeTrusts = [&directory](const tolk::ADObjectList& objects) {
    for (const tolk::ADObject& object : objects) {
      directory.trustedDomains.push_back(object.getString(kTrustPartner, ""));
    }
  };
  waiting_.push_back({directory.trusts, takeTrusts});
}

void DirectoryReads::addSite(tolk::PipelinedReads& reads, Directory& directory) {
  std::string site = local_.join.site;
  const Asked asked = ask([&] { site = tolk::NetworkState::getSubnetSite(binding_.domainName()); });
  if (site.empty()) {
    directory.siteServers.reason = asked.answered() ? "this host has no site" : asked.reason;
    return;
  }
  const std::string base = "CN=Servers,CN=" + tolk::DN::escapeValue(site) + ",CN=Sites," +
                           binding_.configurationContext();
  reads.add("(objectClass=server)", base, kServerAttributes, tolk::SearchScope::oneLevel);
  const Take take = [&directory](const tolk::ADObjectList& objects) {
    for (const tolk::ADObject& object : objects) {
      const std::string name = object.getString(tolk::AD_DNS_HOST_NAME, "");
      if (!name.empty()) directory.siteControllers.push_back(name);
    }
  };
  waiting_.push_back({directory.siteServers, take});
}

void DirectoryReads::readObjects(Directory& directory) {
  directory.account.joinedSid = local_.run.joining ? "" : tolk::loadSetting(tolk::SETTING_HOSTSID);
  tolk::PipelinedReads reads(binding_);
  addAccount(reads, directory.account);
  addDomain(reads, directory);
  addSite(reads, directory);
  for (const Read& read : waiting_) {
    read.asked = ask([&] { read.take(reads.next()); });
  }
  if (directory.account.read.code == kNoSuchObject && !directory.account.joinedSid.empty()) {
    readAccountByName(directory.account);
  }
}

/// The recorded object is gone; one that was made anew under its name says so by its identifier.
void DirectoryReads::readAccountByName(Account& account) {
  const auto found = binding_.search(nameFilter(), domainDn_, kAccountAttributes,
                                     tolk::SearchScope::subtree, 0, 0, tolk::SearchFlags::none);
  if (found->empty()) return;
  account.read = ask([&] { takeAccount(found->front(), account); });
}

std::list<std::string> DirectoryReads::hostNames(const Account& account) const {
  std::list<std::string> names;
  const auto add = [&names](const std::string& name) {
    const bool known = std::ranges::any_of(
        names, [&name](const std::string& other) { return tolk::equalsIgnoringCase(name, other); });
    if (!known) names.push_back(name);
  };
  for (const std::string& spn : account.spns) {
    if (tolk::toLower(spn).starts_with("host/")) add(spn);
  }
  if (!local_.join.joinedHost.empty()) add("host/" + local_.join.joinedHost);
  add("host/" + computerName(local_));
  return names;
}

void DirectoryReads::readForest(Directory& directory) {
  tolk::ADBinding catalog(binding_, true);
  directory.catalog = ask([&] {
    catalog.connect();
    directory.catalogServer = catalog.serverName();
  });
  Account& account = directory.account;
  if (!account.read.answered()) return;
  account.claims = ask([&] {
    tolk::ADBinding* const where = directory.catalog.answered() ? &catalog : nullptr;
    for (const Claimant& claimant : readClaimants(binding_, where, hostNames(account))) {
      const bool own = tolk::equalsIgnoringCase(claimant.dn, account.dn);
      if (!own && !claimant.disabled) account.claimants.push_back(claimant.dn);
    }
  });
}

}  // namespace

std::string computerName(const Facts& local) {
  if (!local.join.account.empty()) return local.join.account;
  const std::string& account = local.kerberos.account;
  if (!account.empty()) return account.substr(0, account.rfind('$'));
  constexpr std::size_t kLongest = 15;
  const std::string& host = local.host.name;
  return tolk::toUpper(host.substr(0, std::min(host.find('.'), kLongest)));
}

void readDirectory(tolk::ADBinding& binding, const Question& question, const Facts& local,
                   const Publish& publish) {
  Directory directory;
  const auto tell = [&] {
    publish([&directory](Facts& facts) {
      directory.server = facts.directory.server;
      directory.boundAs = facts.directory.boundAs;
      directory.bind = facts.directory.bind;
      directory.saslProperties = facts.directory.saslProperties;
      directory.saslFile = facts.directory.saslFile;
      directory.plainBind = facts.directory.plainBind;
      facts.directory = directory;
    });
  };
  DirectoryReads reads(binding, local);
  const Asked whole = ask([&] { reads.readObjects(directory); });
  if (!directory.account.read.asked()) directory.account.read = whole;
  if (!question.user.empty()) readUser(binding, question.user, directory);
  if (local.run.joining) readJoining(binding, computerName(local), directory);
  tell();
  reads.readForest(directory);
  tell();
}

}  // namespace joinscope::facts
