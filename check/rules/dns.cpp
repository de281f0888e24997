// The domain's service records.
#include <optional>
#include <string>

#include "check/rule.h"
#include "check/rules/network_words.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

using facts::Facts;
using facts::ServiceRecords;

/// The records of a service; a name that starts so for those of a site.
const ServiceRecords* recordsOf(const Facts& facts, const std::string& service) {
  return facts.network.recordsOf(service);
}

/// Unknown when nobody has told; fine when there are some; what is left is for the rule to weigh.
std::optional<Verdict> settled(const ServiceRecords* records) {
  if (records == nullptr || !records->asked.asked())
    return unknown("The records were not asked for.");
  if (!records->asked.answered()) return unknown(records->name + ": " + endText(records->asked));
  const bool failed = records->status != "NOERROR" && records->status != "NXDOMAIN";
  if (failed)
    return unknown("The name server answers " + records->status + " for " + records->name);
  if (!records->targets.empty()) return fine(listText(records->targets));
  return {};
}

std::string missingText(const Facts& facts, const ServiceRecords& records) {
  return "DNS has no record " + records.name + " (" + records.status + " by " +
         facts.resolver.used + ")";
}

std::vector<std::string> registerAnew(const ServiceRecords& records) {
  return {"dig " + records.name + " SRV",
          "On a controller: nltest /dsregdns (Windows), samba_dnsupdate --verbose (Samba)."};
}

Verdict judgeLdap(const Facts& facts) {
  const ServiceRecords* records = recordsOf(facts, "_ldap._tcp");
  if (auto verdict = settled(records)) return *verdict;
  return broken(
      missingText(facts, *records) + ": nobody finds a controller of " + facts.join.domain + ".",
      registerAnew(*records));
}

Verdict judgeControllers(const Facts& facts) {
  const ServiceRecords* records = recordsOf(facts, "_ldap._tcp.dc._msdcs");
  if (auto verdict = settled(records)) return *verdict;
  return warning(
      missingText(facts, *records) + ": Samba and Windows look for controllers there alone.",
      registerAnew(*records));
}

Verdict judgeKerberos(const Facts& facts) {
  const ServiceRecords* records = recordsOf(facts, "_kerberos._tcp");
  const ServiceRecords* udp = recordsOf(facts, "_kerberos._udp");
  if (auto verdict = settled(records)) {
    const bool lacksUdp = verdict->grade == Grade::fine && udp != nullptr &&
                          udp->asked.answered() && udp->status == "NXDOMAIN";
    if (!lacksUdp) return *verdict;
    return warning(missingText(facts, *udp) + ", where Kerberos looks first.", registerAnew(*udp));
  }
  const std::vector<std::string>& named = facts.kerberos.config.kdcs;
  if (named.empty()) {
    return broken(missingText(facts, *records) + ": kinit finds no key distribution center.",
                  registerAnew(*records));
  }
  return warning(missingText(facts, *records) + "; Kerberos works by the kdc lines of krb5.conf, " +
                     listText(named) + ".",
                 registerAnew(*records));
}

Verdict judgePasswords(const Facts& facts) {
  const ServiceRecords* records = recordsOf(facts, "_kpasswd._tcp");
  if (auto verdict = settled(records)) return *verdict;
  return warning(missingText(facts, *records) + ": programs do not find where to change passwords.",
                 registerAnew(*records));
}

Verdict judgeCatalog(const Facts& facts) {
  // Asked of the domain and, where that is another name, of the forest's root.
  const ServiceRecords* missing = nullptr;
  for (const ServiceRecords& records : facts.network.records) {
    if (records.service != "_gc._tcp") continue;
    if (!records.targets.empty()) return fine(listText(records.targets));
    missing = &records;
  }
  if (auto verdict = settled(missing)) return *verdict;
  return warning(missingText(facts, *missing) + ": no global catalog is found.",
                 registerAnew(*missing));
}

constexpr Rule kRules[] = {
    {.id = "dns.ldap",
     .title = "DNS names the domain's controllers",
     .needs = "resolver.answers resolver.domain join.domain",
     .judge = judgeLdap,
     .looksAt = "SRV records _ldap._tcp.DOMAIN.",
     .wrong = "There are none: no program finds a controller.",
     .remedy = "Have a controller register its records anew.",
     .source = "RFC 2782; MS-ADTS 6.3.2.3"},
    {.id = "dns.msdcs",
     .title = "DNS names them as controllers, too",
     .needs = "dns.ldap",
     .judge = judgeControllers,
     .looksAt = "SRV records _ldap._tcp.dc._msdcs.DOMAIN.",
     .wrong = "There are none: the zone _msdcs is missing, or not delegated.",
     .remedy = "Have a controller register its records anew.",
     .source = "MS-ADTS 6.3.2.3"},
    {.id = "dns.kerberos",
     .title = "DNS names the key distribution centers",
     .needs = "resolver.answers resolver.domain join.domain",
     .judge = judgeKerberos,
     .looksAt = "SRV records _kerberos._tcp.DOMAIN and _kerberos._udp.DOMAIN.",
     .wrong = "There are none, and krb5.conf names none either: nobody can log in.",
     .remedy = "Have a controller register its records anew.",
     .source = "RFC 4120, 7.2.3.2"},
    {.id = "dns.kpasswd",
     .title = "DNS names where to change passwords",
     .needs = "resolver.answers resolver.domain join.domain",
     .judge = judgePasswords,
     .looksAt = "SRV records _kpasswd._tcp.DOMAIN.",
     .wrong = "There are none: passwords, this host's among them, cannot be changed.",
     .remedy = "Have a controller register its records anew.",
     .source = "RFC 3244"},
    {.id = "dns.gc",
     .title = "DNS names a global catalog",
     .needs = "resolver.answers resolver.domain join.domain",
     .judge = judgeCatalog,
     .looksAt = "SRV records _gc._tcp of the forest's root domain.",
     .wrong = "There are none: users of other domains are not found.",
     .remedy = "Make a controller a global catalog, or have it register its records anew.",
     .source = "MS-ADTS 6.3.2.3"},
};

}  // namespace

std::span<const Rule> dnsRules() {
  return kRules;
}

}  // namespace joinscope::check
