#include "tests/e2e/directory_oracle.h"

#include <map>
#include <sstream>
#include <vector>

namespace joinscope::test {
namespace {

std::string firstLine(const std::string& text) {
  return text.substr(0, text.find('\n'));
}

/// One entry of LDIF; of an attribute's values the first.
using Entry = std::map<std::string, std::string>;

std::vector<Entry> entries(const std::string& ldif) {
  std::vector<Entry> result;
  std::istringstream lines(ldif);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t colon = line.find(": ");
    if (line.rfind("dn:", 0) == 0) result.emplace_back();
    if (line.empty() || line[0] == '#' || colon == std::string::npos || result.empty()) continue;
    result.back().emplace(line.substr(0, colon), line.substr(colon + 2));
  }
  return result;
}

const std::string& valueOf(const Entry& entry, const std::string& name) {
  static const std::string none;
  const auto found = entry.find(name);
  return found == entry.end() ? none : found->second;
}

/// "DC=lab,DC=test" to "lab.test".
std::string domainOf(const std::string& dn) {
  std::string result;
  std::istringstream parts(dn);
  for (std::string part; std::getline(parts, part, ',');) {
    if (!result.empty()) result += '.';
    result += part.substr(part.find('=') + 1);
  }
  return result;
}

std::string levelName(const std::string& level) {
  static const std::map<std::string, std::string> names{{"0", "DS_BEHAVIOR_WIN2000"},
                                                        {"2", "DS_BEHAVIOR_WIN2003"},
                                                        {"3", "DS_BEHAVIOR_WIN2008"},
                                                        {"4", "DS_BEHAVIOR_WIN2008_R2"},
                                                        {"7", "DS_BEHAVIOR_WINSERVER_2016"}};
  const auto found = names.find(level);
  return found == names.end() ? level : level + " = (" + found->second + ")";
}

constexpr const char* kConfiguration = "CN=Configuration,DC=lab,DC=test";

/// Searches with the machine's keytab, in pages of 100 as joinscope does.
std::vector<Entry> searched(const Host& host, const std::string& base, const std::string& scope,
                            const std::string& attributes) {
  return entries(host.must(
      "export KRB5CCNAME=/tmp/oracle_ccache; klist -s || kinit -k 'HOST1$'; "
      "ldapsearch -Q -Y GSSAPI -LLL -o ldif-wrap=no -E pr=100/noprompt -H ldap://dc1.lab.test -s " +
      scope + " -b '" + base + "' '(objectClass=*)' " + attributes));
}

}  // namespace

std::string expectedHostSections(const Host& host) {
  std::string text =
      "Host Diagnostics\n  uname: " +
      firstLine(host.must("echo $(uname -s) $(uname -n) $(uname -r) $(uname -v) $(uname -m)")) +
      "\n  OS: " + firstLine(host.must(". /etc/os-release; echo \"$NAME\"")) +
      "\n  Version: " + firstLine(host.must(". /etc/os-release; echo \"$VERSION\"")) +
      "\n  Number of CPUs: " + firstLine(host.must("getconf _NPROCESSORS_ONLN")) +
      "\n\nIP Diagnostics\n  Local host name: " + firstLine(host.must("hostname -s")) + "\n";
  std::istringstream addresses(host.must("hostname -I | tr ' ' '\\n' | grep ."));
  bool named = false;
  for (std::string address; std::getline(addresses, address);) {
    text += "  Local IP Address: " + address + "\n";
    const std::string name = host.must("dig +short -x " + address);
    if (name.empty()) {
      text += "    Not found in DNS!Make sure it is in Reverse Lookup Zone.\n";
    } else {
      named = true;
      text += "  FQDN host name:" + name.substr(0, name.find(".\n")) + "\n";
    }
  }
  if (!named) text += "  FQDN host name:" + firstLine(host.must("hostname -f")) + "\n";
  return text + "\n";
}

std::string expectedController(const Host& host, const std::string& hostAndPort) {
  const Entry dse =
      entries(host.must("ldapsearch -x -LLL -o ldif-wrap=no -s base -b '' -H ldap://" +
                        hostAndPort + " '*' +"))
          .at(0);
  return "  Domain Controller: " + hostAndPort +
         "\n    Domain controller type: Windows 2008 R2\n    Domain Name:            " +
         domainOf(valueOf(dse, "defaultNamingContext")) +
         "\n    isGlobalCatalogReady:   " + valueOf(dse, "isGlobalCatalogReady") +
         "\n    domainFunctionality:           " + levelName(valueOf(dse, "domainFunctionality")) +
         "\n    forestFunctionality:           " + levelName(valueOf(dse, "forestFunctionality")) +
         "\n    domainControllerFunctionality: " +
         levelName(valueOf(dse, "domainControllerFunctionality")) + "\n";
}

std::string expectedSites(const Host& host) {
  std::map<std::string, std::string> servers;  // of a site's DN, as they are printed
  std::map<std::string, std::string> names;
  std::string text;
  for (const Entry& subnet : searched(host, std::string("CN=Subnets,CN=Sites,") + kConfiguration,
                                      "one", "cn siteObject")) {
    const std::string& site = valueOf(subnet, "siteObject");
    if (!site.empty() && !names.contains(site)) {
      names[site] = valueOf(searched(host, site, "base", "name").at(0), "name");
      for (const Entry& server : searched(host, "CN=Servers," + site, "one", "name dNSHostName")) {
        const std::string& dns = valueOf(server, "dNSHostName");
        servers[site] += "    Server: " + valueOf(server, "name") + " (" +
                         (dns.empty() ? "DNS name unavailable" : dns) + ")\n";
      }
    }
    text += "  Site: " + names[site] + "\n    Subnet: " + valueOf(subnet, "cn") + "\n" +
            (servers[site].empty() ? "    Servers: none\n" : servers[site]);
  }
  return text;
}

std::string expectedZones(const Host& host) {
  struct Zone {
    std::string dn;  ///< a line of LDIF
    std::size_t layout;
    const char* line;
  };
  static const std::vector<Zone> zones{
      {"dn: CN=Global,OU=Zones", 0, "    Global (5.x) - lab.test/Zones/Global\n"},
      {"dn: CN=Paris,CN=Global,OU=Zones", 0, "    Paris (5.x) - lab.test/Zones/Global/Paris\n"},
      {"dn: CN=Sales\\, EMEA,OU=Zones", 0, "    Sales, EMEA (2.x) - lab.test/Zones/Sales, EMEA\n"},
      {"dn: CN=First,OU=Servers", 0, "    First (3.x) - lab.test/Servers/First\n"},
      {"dn: CN=Tomorrow,OU=Zones", 0, "    Tomorrow (Unknown) - lab.test/Zones/Tomorrow\n"},
      {"dn:: Q049WsO8cmljaCxPVT1Cw7xybyxPVT1ab25lcyxEQz1sYWIsREM9dGVzdA==", 1,
       "    Zürich (5.x) - lab.test/Zones/Büro/Zürich\n"},
      {R"(dn: CN=The \"quoted\" zone,OU=Zones)", 1,
       "    The \"quoted\" zone (4.x) - lab.test/Zones/The \"quoted\" zone\n"},
      {"dn: CN=NIS,OU=Zones", 2, "    NIS (4.x) - lab.test/Zones/NIS\n"},
      {"dn: CN=Old NIS/YP,OU=Servers", 2, "    Old NIS/YP (3.x) - lab.test/Servers/Old NIS\\/YP\n"},
  };
  std::vector<std::string> layouts{"  Pellion Standard zones:\n",
                                   "  Pellion Standard 2307 zones:\n",
                                   "  Pellion Microsoft SFU zones:\n"};
  std::istringstream found(host.must(
      "export KRB5CCNAME=/tmp/oracle_ccache; klist -s || kinit -k 'HOST1$'; "
      "ldapsearch -Q -Y GSSAPI -LLL -o ldif-wrap=no -E pr=100/noprompt "
      "-H ldap://dc1.lab.test:3268 -b '' '(&(objectClass=container)(displayName=*))' 1.1"));
  for (std::string line; std::getline(found, line);) {
    for (const Zone& zone : zones) {
      if (line == zone.dn || line == zone.dn + ",DC=lab,DC=test") layouts[zone.layout] += zone.line;
    }
  }
  return "\nRetrieving zone data from lab.test\n" + layouts[0] + layouts[1] + layouts[2];
}

std::string expectedComputerAccount(const Host& host) {
  const std::string dn = "CN=HOST1,CN=Computers,DC=lab,DC=test";
  const Entry entry = searched(host, dn, "base",
                               "userAccountControl msDS-KeyVersionNumber operatingSystemVersion "
                               "msDS-SupportedEncryptionTypes")
                          .at(0);
  const long control = std::stol(valueOf(entry, "userAccountControl"));
  std::string text =
      "Computer Account Diagnostics\n  Joined as: " + firstLine(host.must("hostname -f")) +
      "\n  Trusted for Delegation: " + ((control & 0x80000) != 0 ? "true" : "false") +
      "\n  Use DES Key Only: " + ((control & 0x200000) != 0 ? "true" : "false") +
      "\n  Key Version: " + valueOf(entry, "msDS-KeyVersionNumber") + "\n";
  std::string label = "  Service Principal Names: ";
  std::istringstream names(host.must(
      "KRB5CCNAME=/tmp/oracle_ccache ldapsearch -Q -Y GSSAPI -LLL -o ldif-wrap=no -H "
      "ldap://dc1.lab.test -s base -b " +
      dn + " '(objectClass=*)' servicePrincipalName | sed -n 's/^servicePrincipalName: //p'"));
  for (std::string name; std::getline(names, name);) {
    text += label + name + "\n";
    label.assign(label.size(), ' ');
  }
  text += "\n";
  label = "Supported Encryption Type(s): ";
  const long types = std::stol(valueOf(entry, "msDS-SupportedEncryptionTypes"));
  const std::pair<long, const char*> known[] = {
      {4, "RC4-HMAC"}, {8, "AES128-CTS-HMAC-SHA1-96"}, {16, "AES256-CTS-HMAC-SHA1-96"}};
  for (const auto& [bit, name] : known) {
    if ((types & bit) == 0) continue;
    text += label + name + "\n";
    label.assign(label.size(), ' ');
  }
  return text + "\nOperating System Version: " + valueOf(entry, "operatingSystemVersion") + "\n\n";
}

std::string expectedRanges(const Host& host) {
  const Entry manager =
      searched(host, "CN=RID Manager$,CN=System,DC=lab,DC=test", "base", "rIDAvailablePool").at(0);
  // MS-ADTS 3.1.1.1.11: the next identifier below, the last one above.
  const unsigned long long pool = std::stoull(valueOf(manager, "rIDAvailablePool"));
  return "Domain RIDs in forest:\n  LAB.TEST: " + std::to_string(pool & 0xffffffffULL) + "-" +
         std::to_string(pool >> 32U) + " (current domain)\n";
}

std::string siteByAdcli(const Host& host) {
  return firstLine(host.must("adcli info lab.test | sed -n 's/^computer-site = //p'"));
}

}  // namespace joinscope::test
