// Site and domain are asked together. When DNS names no controller, the configuration may, and
// then the join settings.
#include "tolk/net/controller_records.h"

#include <algorithm>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/configured_controllers.h"

namespace tolk {

std::string siteLabel(const std::string& site) {
  std::string label;
  for (const char letter : site) {
    if (letter == '.' || letter == '\\') label += '\\';
    label += letter;
  }
  return label;
}

ControllerRecords::ControllerRecords(EventLoop& loop, std::string domain, ServiceType::Enum type)
    : loop_(loop), domain_(std::move(domain)), type_(type) {}

void ControllerRecords::lookUp(const std::string& name, const std::string& site) {
  lookups_.push_back({startSrvLookup(loop_, name), site});
}

// The global catalogs of the whole forest stand under its root domain alone; in other domains their
// record does not exist.
void ControllerRecords::askDomain() {
  lookUp("_ldap._tcp.dc._msdcs." + domain_, "");
  if (type_ == ServiceType::globalCatalog) lookUp("_ldap._tcp.gc._msdcs." + domain_, "");
}

void ControllerRecords::askSite(const std::string& site) {
  if (!askedSites_.insert(toLower(site)).second) return;
  const std::string prefix = "_ldap._tcp." + siteLabel(site) + "._sites.";
  lookUp(prefix + "dc._msdcs." + domain_, site);
  if (type_ == ServiceType::globalCatalog) lookUp(prefix + "gc._msdcs." + domain_, site);
}

std::vector<NamedControllers> ControllerRecords::take() {
  std::vector<NamedControllers> out;
  for (Lookup& lookup : lookups_) {
    if (!lookup.records.done()) continue;
    try {
      HostPortList list = lookup.records.wait();
      if (!list.empty()) out.push_back({std::move(list), lookup.site});
    } catch (const BadDataException& failure) {
      // A site may have a name that DNS has no room for, and c-ares from 1.21 on asks for names of
      // hosts alone: the domain's controllers are still to be had.
      if (lookup.site.empty()) {
        failure_ = failure.what();
      } else {
        noteTrouble("base.net.discovery", failure.what());
      }
    } catch (const Base_Exception& failure) {
      failure_ = failure.what();
    }
  }
  std::erase_if(lookups_, [](const Lookup& lookup) { return !lookup.records; });
  found_ = found_ || !out.empty();
  if (lookups_.empty() && !exhausted_) nextSource(out);
  return out;
}

// The plain record after the one of controllers only: a domain may have no other. A resolver that
// failed is not asked again.
void ControllerRecords::nextSource(std::vector<NamedControllers>& out) {
  if (!found_ && !askedPlain_ && failure_.empty()) {
    askedPlain_ = true;
    return lookUp("_ldap._tcp." + domain_, "");
  }
  exhausted_ = true;
  if (found_) return;
  HostPortList list;
  if (type_ == ServiceType::globalCatalog) list = configuredControllers("_gc._tcp." + domain_);
  if (list.empty()) list = configuredControllers("_ldap._tcp." + domain_);
  if (list.empty()) list = recordedControllers("_ldap._tcp." + domain_);
  if (!list.empty()) out.push_back({std::move(list), ""});
}

bool ControllerRecords::pending(const std::string& site) const {
  return std::any_of(lookups_.begin(), lookups_.end(), [&site](const Lookup& lookup) {
    return equalsIgnoringCase(lookup.site, site);
  });
}

}  // namespace tolk
