// The joined computers of one domain, counted in constant memory.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <string>

namespace tolk {

class ADBinding;

/// The entries of one zone. An orphan's computer object is gone, and it is no join; a disabled join
/// is also among the joins.
struct ZoneJoins {
  std::string name;
  std::uint64_t joins = 0;
  std::uint64_t orphans = 0;
  std::uint64_t disabled = 0;
};

/// The computers of one domain, by the way they were joined.
struct DomainJoins {
  std::string name;
  std::uint64_t zone = 0;
  std::uint64_t autoZone = 0;
  std::uint64_t sprig = 0;
  std::uint64_t oem = 0;
  std::uint64_t unknown = 0;
};

/// What the search of one domain gave.
struct DomainCount {
  std::list<ZoneJoins> zones;                  ///< by layout, then in the directory's order
  std::map<std::string, ZoneJoins*> zoneByDn;  ///< the same, by name in lower case
  /// Entries of disabled computers of this domain, by the zone's name in lower case; the zone may
  /// be in another domain.
  std::map<std::string, std::uint64_t> disabledByZone;
  DomainJoins computers;
};

/// Counts one domain through one connection.
class DomainCounter {
 public:
  /// `seen` is told how many objects a page has brought. `binding` must be connected to a
  /// controller of the domain.
  DomainCounter(ADBinding& binding, std::function<void(std::size_t)> seen);

  /// Reads the zones, their entries, the disabled computers and the joined ones, in this order and
  /// in pages of 1,000 objects; of each only what is counted. Which entries are disabled comes from
  /// the back links of managedBy on the disabled computers, and goes by the place of the object
  /// that is named. A controller knows the back links from its own domain; those from another
  /// domain's zones it knows only where managedBy is replicated to the global catalog. Throws
  /// LDAPException.
  [[nodiscard]] DomainCount count();

  /// The step at hand, for the message about a failure.
  [[nodiscard]] const char* step() const noexcept { return step_; }

 private:
  void readZones();
  void countEntries();
  void countDisabled();
  void countComputers();

  ADBinding& binding_;
  std::function<void(std::size_t)> seen_;
  std::string base_;
  const char* step_ = "reading the zones";
  DomainCount result_;
};

}  // namespace tolk
