// Adopts the join of a host.
#include "velkd/adopt.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <optional>
#include <ostream>
#include <set>

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/join_settings_writer.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/ldap/guid.h"
#include "tolk/ldap/sid.h"
#include "tolk/net/network_state.h"
#include "tolk/zones/zone_schema.h"
#include "velkd/exit_status.h"
#include "velkd/machine_binding.h"

namespace velkd {
namespace {

[[noreturn]] void refuse(const std::string& message, int status = exit_status::kMiscError) {
  throw AdoptRefusal(message, status);
}

std::string localHostName() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? tolk::toLower(name.data()) : "";
}

std::vector<tolk::KeytabAccount> readKeytab(const std::string& path) {
  try {
    tolk::KerberosContext kerberos;
    return tolk::machineAccountsInKeytab(kerberos, path);
  } catch (const tolk::KerberosException& e) {
    refuse(std::string(e.what()) +
           ". Join this computer to a domain first (adcli join, realm join, net ads join).");
  }
}

struct KerberosRow {
  long code;
  int status;
  const char* text;
};

constexpr std::array kKerberosRefusals{
    KerberosRow{
        KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN, exit_status::kNoObject,
        "the domain has no such computer account. Join this computer again, unless the name "
        "servers lead to another domain of that name"},
    KerberosRow{KRB5KDC_ERR_PREAUTH_FAILED, exit_status::kPasswordChanged,
                "the keytab does not hold the account's password any more. Join this computer "
                "again"},
    KerberosRow{KRB5KRB_AP_ERR_BAD_INTEGRITY, exit_status::kPasswordChanged,
                "the keytab does not hold the account's password any more. Join this computer "
                "again"},
    KerberosRow{KRB5KRB_AP_ERR_SKEW, exit_status::kClockSkew,
                "the clocks of this computer and of the domain controller differ too much. Set "
                "this one"},
};

[[noreturn]] void refuseKerberos(const std::string& principal, const tolk::KerberosException& e) {
  for (const KerberosRow& row : kKerberosRefusals) {
    if (row.code == e.code()) refuse(principal + ": " + row.text + ".", row.status);
  }
  refuse(std::string(e.what()) + ".");  // names the account where it is about one
}

std::unique_ptr<MachineBinding> bind(const MachineIdentity& identity) {
  try {
    return std::make_unique<MachineBinding>(identity);
  } catch (const tolk::KerberosException& e) {
    refuseKerberos(identity.principal, e);
  } catch (const tolk::Base_Exception& e) {
    refuse("No domain controller of " + identity.domain + " can be used: " + e.what() +
           ". Check the name servers in /etc/resolv.conf and the way to the controllers.");
  }
}

tolk::ADObject findComputer(MachineBinding& machine, const tolk::KeytabAccount& account) {
  static constexpr const char* kAttributes[] = {tolk::AD_SAM_ACCOUNT_NAME, "objectSid",
                                                tolk::AD_DNS_HOST_NAME, tolk::AD_USER_ACCNT_CONTROL,
                                                nullptr};
  const auto found = machine.directory().search(
      "(sAMAccountName=" + tolk::DN::escapeLDAPFilter(account.name + "$") + ")",
      tolk::LDAPBinding::DNSNameToDN(machine.directory().domainName()), kAttributes,
      tolk::SearchScope::subtree, 0, 0, tolk::SearchFlags::none);
  if (found->empty()) {
    refuse("The directory has no computer object " + account.name + "$. Join this computer again.",
           exit_status::kNoObject);
  }
  tolk::ADObject computer = found->front();
  if ((computer[tolk::AD_USER_ACCNT_CONTROL].toInt() & tolk::UF_ACCOUNT_DISABLED) != 0) {
    refuse("The computer object " + computer.dn() + " is disabled. Enable it in the directory.");
  }
  return computer;
}

std::string globalCatalogOf(const std::string& forest) {
  try {
    return tolk::NetworkState::getDCForDomain(forest, tolk::ServiceType::globalCatalog, false,
                                              std::string(), false);
  } catch (const tolk::Base_Exception&) {
    return {};  // the settings go without one
  }
}

std::string qualifiedName(const tolk::ADObject& computer, const std::string& domain) {
  const std::string recorded = computer.getString(tolk::AD_DNS_HOST_NAME, "");
  if (!recorded.empty()) return tolk::toLower(recorded);
  const std::string local = localHostName();
  return local.find('.') == std::string::npos ? local + "." + domain : local;
}

std::string schemaOf(const Options& options, const tolk::ADObject& zone) {
  std::string layout = options.schema.empty() ? tolk::zoneLayout(zone) : options.schema;
  if (!tolk::isZoneLayout(layout)) {
    refuse("The layout '" + tolk::printable(layout) + "' of the zone " + zone.dn() +
           " is not known. Name one with --schema.");
  }
  return layout;
}

void addZone(const Options& options, MachineBinding& machine, tolk::JoinSettingValues& values) {
  const std::string domainDn = tolk::LDAPBinding::DNSNameToDN(machine.directory().domainName());
  values[std::string(tolk::SETTING_ZONE_REALNAME)] = domainDn;
  values[std::string(tolk::SETTING_SCHEMA)] =
      options.zoneChoice == ZoneChoice::none ? "null" : "auto";
  if (options.zoneChoice != ZoneChoice::named) return;
  const MachineBinding::Read zone = machine.read(
      options.zone,
      {tolk::AD_OBJECT_CLASS, tolk::AD_DISPLAY_NAME, tolk::AD_DESCRIPTION, tolk::AD_OBJECT_GUID});
  if (!zone.found || !tolk::isZoneObject(zone.object)) {
    refuse("There is no zone " + options.zone + " in the directory.");
  }
  values[std::string(tolk::SETTING_ZONE_REALNAME)] = zone.object.dn();
  values[std::string(tolk::SETTING_SCHEMA)] = schemaOf(options, zone.object);
  values[std::string(tolk::SETTING_ZONE_GUID)] =
      tolk::guidText(zone.object.getString(tolk::AD_OBJECT_GUID, ""));
}

// A ping answer is not signed, so its site counts only where the directory has it.
std::string knownSite(MachineBinding& machine, const std::string& site, std::ostream& out) {
  if (site.empty()) return {};
  const std::string name = "CN=" + tolk::DN::escapeValue(site) + ",CN=Sites," +
                           machine.directory().configurationContext();
  if (machine.read(name, {tolk::AD_OBJECT_CLASS}).found) return site;
  out << "The directory has no site '" << tolk::printable(site) << "': none is recorded\n";
  return {};
}

tolk::JoinSettingValues settingsOf(const Options& options, MachineBinding& machine,
                                   const tolk::ADObject& computer, std::ostream& out) {
  const std::string domain = machine.directory().domainName();
  const boost::shared_ptr<tolk::DCInfo> info = tolk::NetworkState::getDCInfo(machine.host(), false);
  const std::string account = computer[tolk::AD_SAM_ACCOUNT_NAME].toString();
  tolk::JoinSettingValues values;
  const auto set = [&values](std::string_view name, std::string value) {
    values[std::string(name)] = std::move(value);
  };
  set(tolk::SETTING_DOMAIN_NAME, domain);
  set(tolk::SETTING_HOST_NAME, qualifiedName(computer, domain));
  set(tolk::SETTING_PREW2K_HOST_NAME, tolk::toUpper(account.substr(0, account.size() - 1)));
  const std::string subnetSite = knownSite(machine, info->clientSite, out);
  set(tolk::SETTING_MACHINE_SITE,
      subnetSite.empty() ? knownSite(machine, info->dcSite, out) : subnetSite);
  set(tolk::SETTING_SUBNET_SITE, subnetSite);
  set(tolk::SETTING_DOMAIN_CONTROLLER, machine.host());
  set(tolk::SETTING_GLOBAL_CATALOG, globalCatalogOf(machine.directory().forestName()));
  set(tolk::SETTING_HOSTSID, tolk::SID::fromBinary(computer["objectSid"].toString()).toString());
  addZone(options, machine, values);
  return values;
}

}  // namespace

tolk::KeytabAccount chooseAccount(const std::vector<tolk::KeytabAccount>& accounts,
                                  const std::string& domain, const std::string& hostName,
                                  const std::string& keytab) {
  std::vector<tolk::KeytabAccount> candidates;
  std::set<std::string> realms;
  for (const tolk::KeytabAccount& account : accounts) {
    realms.insert(account.realm);
    if (domain.empty() || tolk::equalsIgnoringCase(account.realm, domain)) {
      candidates.push_back(account);
    }
  }
  if (accounts.empty()) {
    refuse(keytab +
           " has no computer account (NAME$@REALM). Join this computer to a domain first.");
  }
  if (candidates.empty()) {
    refuse(keytab + " has no computer account of " + domain + ", only of " + *realms.begin() +
           (realms.size() > 1 ? " and others." : "."));
  }
  if (domain.empty() && realms.size() > 1) {
    std::string all;
    for (const std::string& realm : realms) all += (all.empty() ? "" : ", ") + realm;
    refuse(keytab + " has computer accounts of several domains (" + all +
           "). Choose one with --domain.");
  }
  constexpr std::size_t kMaxNetBiosName = 15;
  const std::string own = tolk::split(hostName, '.').front().substr(0, kMaxNetBiosName);
  const auto rank = [&own](const tolk::KeytabAccount& account) {
    return std::pair(tolk::equalsIgnoringCase(account.name, own), account.newest);
  };
  return *std::max_element(
      candidates.begin(), candidates.end(),
      [&rank](const auto& left, const auto& right) { return rank(left) < rank(right); });
}

void adopt(const Options& options, std::ostream& out) {
  const std::string keytab = tolk::keytabPath();
  const tolk::KeytabAccount account =
      chooseAccount(readKeytab(keytab), options.domain, localHostName(), keytab);
  const std::string domain = tolk::toLower(account.realm);
  out << "Found the computer account " << tolk::printable(account.principal) << " in " << keytab
      << " (key version " << account.keyVersion << ")\n";
  try {
    const auto machine = bind({.domain = domain, .principal = account.principal, .server = {}});
    out << "Connected to " << tolk::printable(machine->host()) << " with it\n";
    const tolk::ADObject computer = findComputer(*machine, account);
    out << "Found the computer object " << tolk::printable(computer.dn()) << '\n';
    const tolk::JoinSettingValues values = settingsOf(options, *machine, computer, out);
    tolk::writeJoinSettings(tolk::kStateDirectory, values);
    out << "Wrote the join settings:\n";
    for (const auto& [name, value] : values) {
      out << "  " << tolk::kStateDirectory << "/kset." << name << ": "
          << (value.empty() ? "<none>" : tolk::printable(value)) << '\n';
    }
  } catch (const tolk::IOException&) {
    throw;
  } catch (const tolk::Base_Exception& e) {
    refuse("The directory of " + domain + " does not tell what is needed: " + e.what());
  }
}

void unadopt(std::ostream& out) {
  try {
    tolk::retireJoinSettings(tolk::kStateDirectory);
  } catch (const tolk::NotFoundException& e) {
    refuse(std::string(e.what()) + ": nothing to set aside.", exit_status::kNotJoined);
  }
  out << "Moved the join settings to " << tolk::kStateDirectory << "/previous\n";
}

}  // namespace velkd
