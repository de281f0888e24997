// The identifier ranges of the domains of the forest.
#include "velkd/domain_ranges.h"

#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "velkd/machine_binding.h"

namespace velkd {
namespace {

// Cross references to domains, not to application partitions: FLAG_CR_NTDS_DOMAIN (MS-ADTS 2.2.10,
// systemFlags), tested with LDAP_MATCHING_RULE_BIT_AND.
constexpr const char* kDomainCrossRefs =
    "(&(objectClass=crossRef)(systemFlags:1.2.840.113556.1.4.803:=2))";
constexpr const char* kDnsRoot = "dnsRoot";
constexpr const char* kDomainDn = "nCName";
constexpr const char* kPool = "rIDAvailablePool";

}  // namespace

std::string rangeText(std::uint64_t pool) {
  constexpr unsigned kHalf = 32;
  const auto next = static_cast<std::uint32_t>(pool);
  const auto last = static_cast<std::uint32_t>(pool >> kHalf);
  return next > last ? "none left" : std::to_string(next) + "-" + std::to_string(last);
}

void DomainRanges::restart() {
  started_ = false;
  waiting_.clear();
}

void DomainRanges::step(MachineBinding& machine) {
  if (!started_) {
    findDomains(machine);
    return;
  }
  if (waiting_.empty()) return;
  const Domain domain = waiting_.front();
  readPool(machine, domain);
  waiting_.pop_front();
}

void DomainRanges::findDomains(MachineBinding& machine) {
  const tolk::ADObject rootDse = machine.read("", {tolk::AD_CONFIG_NAMING_CTX}).object;
  static constexpr const char* kAttributes[] = {kDnsRoot, kDomainDn, nullptr};
  const auto found = machine.directory().search(
      kDomainCrossRefs, "CN=Partitions," + rootDse.getString(tolk::AD_CONFIG_NAMING_CTX, ""),
      kAttributes, tolk::SearchScope::oneLevel, 0, 0, tolk::SearchFlags::none);
  waiting_.clear();
  ranges_.clear();
  missing_ = 0;
  for (const tolk::ADObject& crossRef : *found) {
    waiting_.push_back({.name = tolk::toLower(crossRef.getString(kDnsRoot, "")),
                        .dn = crossRef.getString(kDomainDn, "")});
  }
  started_ = true;
}

void DomainRanges::readPool(MachineBinding& machine, const Domain& domain) {
  const std::string dn = "CN=RID Manager$,CN=System," + domain.dn;
  const bool own = tolk::equalsIgnoringCase(domain.name, machine.directory().domainName());
  try {
    MachineBinding::Read manager;
    if (own) {
      manager = machine.read(dn, {kPool});
    } else {
      const auto binding = machine.bindTo(domain.name, "");
      manager = MachineBinding::read(*binding, dn, {kPool});
    }
    const auto pool = static_cast<std::uint64_t>(manager.object[kPool].toInt64());
    ranges_[tolk::toUpper(domain.name)] = rangeText(pool);
  } catch (const tolk::Base_Exception& e) {
    if (own) throw;
    ++missing_;
    // The domain is there all the same: join counts go through these names.
    ranges_[tolk::toUpper(domain.name)] = "<unavailable>";
    tolk::Logger::GetThreadPrivateLogger("velkd.identifiers")
        .log(tolk::LogLevel::warning, "No identifier range of " + domain.name + ": " + e.what());
  }
}

}  // namespace velkd
