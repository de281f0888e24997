// The identifier ranges that the domains of the forest still have to give away.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace velkd {

class MachineBinding;

/// Ranges by upper-case DNS name of the domain.
using RangesByDomain = std::map<std::string, std::string>;

/// The text for a value of rIDAvailablePool (MS-ADTS 6.1.1.4.13): the low 32 bits are the first
/// relative identifier not given away, the high 32 bits the last of the domain: "1600-1073741823".
[[nodiscard]] std::string rangeText(std::uint64_t pool);

/// Gathers in steps, each of which talks to one domain, so that callers are served in between.
class DomainRanges {
 public:
  /// Begins anew; what was gathered before is forgotten with the next complete round.
  void restart();
  /// Does the next step. Throws LDAPException when the own domain's controller fails; another
  /// domain that fails is logged and left out.
  void step(MachineBinding& machine);
  /// Whether there is a step to do.
  [[nodiscard]] bool unfinished() const noexcept { return !started_ || !waiting_.empty(); }
  /// What the finished round gave.
  [[nodiscard]] const RangesByDomain& ranges() const noexcept { return ranges_; }
  /// How many domains were left out.
  [[nodiscard]] unsigned missing() const noexcept { return missing_; }

 private:
  struct Domain {
    std::string name;  // DNS
    std::string dn;
  };
  void findDomains(MachineBinding& machine);
  void readPool(MachineBinding& machine, const Domain& domain);

  bool started_ = false;
  std::deque<Domain> waiting_;
  RangesByDomain ranges_;
  unsigned missing_ = 0;
};

}  // namespace velkd
