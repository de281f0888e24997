// krb5.conf: whether it can be read, and whether what it says is so of the domain.
#include <algorithm>
#include <string>

#include "check/rule.h"
#include "check/rules/account_words.h"
#include "tolk/base/text.h"
#include "tolk/krb5/krb5_library.h"

namespace joinscope::check {
namespace {

using facts::Facts;

std::string realmOf(const Facts& facts) {
  return tolk::toUpper(facts.join.domain);
}

Verdict judgeConf(const Facts& facts) {
  const facts::KerberosConfig& config = facts.kerberos.config;
  if (!config.read.asked()) return unknown("It was not read.");
  const std::string whole =
      "printf '[libdefaults]\\n default_realm = " + realmOf(facts) + "\\n' >" + configFile(facts);
  if (!config.aside.empty()) {
    return broken(
        configFile(facts) + " is gone: it was malformed, and the agent has moved it to " +
            config.aside + ". kinit, SSSD and ssh go without what it said.",
        {whole, "and put back line by line what the host needs of " + config.aside + "."});
  }
  if (config.read.answered()) return fine();
  if (config.malformed.empty()) {
    return unknown("krb5.conf could not be read: " + config.read.reason);
  }
  const std::string aside = "mv " + config.malformed + " " + config.malformed + ".bad";
  std::vector<std::string> next{aside};
  if (config.malformed == configFile(facts)) {
    next.front() += "; " + whole;
  }
  next.emplace_back("and put back line by line what the host needs of it.");
  return broken(config.malformed +
                    " is malformed: kinit, SSSD, ssh and every other program with Kerberos fail "
                    "with \"Improper format of Kerberos configuration file\".",
                std::move(next));
}

bool isTrusted(const Facts& facts, const std::string& realm) {
  return std::ranges::any_of(facts.directory.trustedDomains, [&](const std::string& domain) {
    return tolk::equalsIgnoringCase(domain, realm);
  });
}

Verdict judgeRealm(const Facts& facts) {
  const facts::KerberosConfig& config = facts.kerberos.config;
  if (!config.read.answered()) return unknown("krb5.conf was not read.");
  const std::string realm = realmOf(facts);
  const std::string& file = configFile(facts);
  if (!config.domainRealm.empty() && config.domainRealm != realm) {
    return broken("[domain_realm] of " + file + " puts " + facts.join.domain + " into the realm " +
                      config.domainRealm +
                      ": services of the domain are asked for where nobody has them.",
                  {"sed -i 's/= *" + config.domainRealm + "/= " + realm + "/' " + file});
  }
  const std::string& named = config.defaultRealm;
  if (named.empty()) return fine("No default_realm: programs name the realm themselves");
  if (named == realm) return fine("default_realm " + realm);
  if (isTrusted(facts, named)) return fine("default_realm " + named + ", a trusted domain");
  return broken("default_realm of " + file + " is " + named + ", but this host belongs to " +
                    realm + " by " + facts.join.namedBy +
                    ": kinit, ssh and others look for users and keys in a realm that is not its "
                    "own.",
                {"sed -i 's/default_realm *=.*/default_realm = " + realm + "/' " + file});
}

Verdict judgeKdcLines(const Facts& facts) {
  const facts::KerberosConfig& config = facts.kerberos.config;
  if (!config.read.answered()) return unknown("krb5.conf was not read.");
  const std::string& file = configFile(facts);
  if (config.kdcs.empty() && config.lookupKdc) return fine("KDCs are found by DNS");
  if (config.kdcs.empty()) {
    return broken(file + " names no kdc for " + realmOf(facts) +
                      " and forbids to find one by DNS (dns_lookup_kdc).",
                  {"sed -i '/dns_lookup_kdc/d' " + file});
  }
  std::string dead;
  std::string reason;
  std::string deletions;
  std::size_t alive = 0;
  for (const facts::ConfiguredKdc& kdc : facts.kerberos.hostWay.kdcs) {
    if (kdc.asked.answered()) ++alive;
    if (kdc.asked.answered() || !kdc.asked.asked()) continue;
    dead += (dead.empty() ? "" : ", ") + kdc.name;
    reason = kdc.asked.reason;
    deletions += (deletions.empty() ? "" : ";") + std::string("/kdc *= *") + kdc.name + "/d";
  }
  if (dead.empty() && alive < config.kdcs.size()) return unknown("Not all of them were asked.");
  if (dead.empty()) return fine("All KDCs of " + file + " answer");
  const std::string text =
      file + " names by hand the KDC " + dead + ", which does not answer (" + reason + ")";
  std::vector<std::string> next{"sed -i '" + deletions + "' " + file,
                                "DNS names the KDCs of the domain, those to come as well."};
  if (alive == 0 && facts.kerberos.hostWay.kdcs.size() == config.kdcs.size()) {
    return broken(text + ", and so hides those that DNS names.", std::move(next));
  }
  return warning(text + ": whoever asks it first waits.", std::move(next));
}

bool isSameHost(std::string left, std::string right) {
  if (left.ends_with('.')) left.pop_back();
  if (right.ends_with('.')) right.pop_back();
  return tolk::equalsIgnoringCase(left, right);
}

Verdict judgeReverse(const Facts& facts) {
  const facts::HostWay& way = facts.kerberos.hostWay;
  if (way.canonicalName.empty()) return unknown("The library did not name a controller.");
  if (isSameHost(way.canonicalName, way.controller)) return fine();
  const bool reverse = facts.kerberos.config.reverseNames;
  const std::string address = way.addresses.empty() ? "its address" : way.addresses.front();
  const std::string why =
      reverse ? "rdns is on, and " + address + " resolves to " + way.canonicalName
              : "dns_canonicalize_hostname is on, and DNS calls it " + way.canonicalName;
  const std::string text = "By krb5.conf, kinit, ssh and SSSD take the controller " +
                           way.controller + " for " + way.canonicalName + ": " + why;
  if (way.ticket.answered()) return fine(text + "; the domain knows that name, too");
  const std::string name = reverse ? "rdns" : "dns_canonicalize_hostname";
  std::vector<std::string> next{"sed -i -e '/^ *" + name + " *=/d' -e '/^\\[libdefaults\\]/a \\ " +
                                    name + " = false' " + configFile(facts),
                                "or correct the reverse record of " + address + "."};
  if (!way.ticket.asked()) return warning(text + ".", std::move(next));
  return broken(text + ". For ldap/" + way.canonicalName + " the domain has no key: " +
                    codeName(way.ticket.code) + ", \"Server not found in Kerberos database\".",
                std::move(next));
}

std::vector<std::int64_t> common(const std::vector<std::int64_t>& left,
                                 const std::vector<std::int64_t>& right) {
  std::vector<std::int64_t> both;
  for (const std::int64_t type : left) {
    if (std::ranges::find(right, type) != right.end()) both.push_back(type);
  }
  return both;
}

Verdict judgeEncryption(const Facts& facts) {
  const std::vector<std::int64_t>& permitted = facts.kerberos.config.permitted;
  if (permitted.empty()) return unknown("krb5.conf was not read.");
  const std::string& file = configFile(facts);
  std::vector<std::int64_t> keys;
  keys.reserve(facts.kerberos.keys.size());
  for (const facts::ProvedKey& key : facts.kerberos.keys) keys.push_back(key.encryption);
  const std::string start =
      "krb5.conf permits the encryption types " + encryptionTexts(permitted) + ", but ";
  const std::vector<std::string> next{
      "sed -i -E '/(permitted|default_tgs|default_tkt)_enctypes/d' " + file};
  if (!keys.empty() && common(permitted, keys).empty()) {
    return broken(
        start + "the keytab has keys of " + encryptionTexts(keys) + " only: none can be used.",
        next);
  }
  const std::vector<std::int64_t> account =
      encryptionTypesIn(facts.directory.account.encryptionTypes);
  if (!account.empty() && common(permitted, account).empty()) {
    return broken(start + "the account's are " + encryptionTexts(account) + ".", next);
  }
  return keys.empty() ? withoutKeys(facts) : fine();
}

constexpr Rule kRules[] = {
    {.id = "krb.conf",
     .title = "krb5.conf can be read",
     .needs = "",
     .judge = judgeConf,
     .looksAt = "krb5.conf and what it includes, as the Kerberos library reads them.",
     .wrong = "A file is malformed: no program with Kerberos starts to work. joincheck goes its "
              "own way without the file and leaves it where it is; the agent moves it aside.",
     .remedy = "Correct the file that is named.",
     .source = "krb5.conf(5)"},
    {.id = "krb.realm",
     .title = "krb5.conf means the realm of the domain",
     .needs = "krb.conf join.domain",
     .judge = judgeRealm,
     .looksAt = "default_realm, and the realm to which [domain_realm] maps the domain.",
     .wrong = "Another realm: \"Cannot find KDC for realm\", \"not found in Kerberos database\".",
     .remedy = "Correct default_realm, or leave it out.",
     .source = "krb5.conf(5)"},
    {.id = "krb.kdc-lines",
     .title = "The KDCs that krb5.conf names answer",
     .needs = "krb.conf dc.kdc",
     .judge = judgeKdcLines,
     .looksAt = "The kdc lines of the realm, each asked for a TCP connection; dns_lookup_kdc.",
     .wrong = "Lines that outlive their servers: with them the library asks nobody else.",
     .remedy = "Take the kdc lines out: DNS names the KDCs.",
     .source = "krb5.conf(5); RFC 4120, 7.2.3.2"},
    {.id = "krb.rdns",
     .title = "Programs call the controller by a name that the domain knows",
     .needs = "krb.conf",
     .judge = judgeReverse,
     .looksAt = "The controller's name as krb5_sname_to_principal(3) makes it by this krb5.conf, "
                "and whether the domain gives a ticket for it.",
     .wrong = "rdns takes the name from a reverse record, which may be another: \"Server not found "
              "in Kerberos database\".",
     .remedy = "rdns = false in krb5.conf, or correct the reverse record.",
     .source = "krb5.conf(5); RFC 4120, 1.3"},
    {.id = "krb.enctypes",
     .title = "krb5.conf permits an encryption type that keytab and account have",
     .needs = "krb.conf keytab.readable",
     .judge = judgeEncryption,
     .looksAt =
         "permitted_enctypes, the types of the keytab's keys, msDS-SupportedEncryptionTypes.",
     .wrong = "They do not meet: \"no suitable keys\", \"KDC has no support for encryption type\".",
     .remedy = "Take permitted_enctypes out of krb5.conf.",
     .source = "krb5.conf(5); MS-KILE 2.2.7"},
};

}  // namespace

std::span<const Rule> kerberosRules() {
  return kRules;
}

}  // namespace joinscope::check
