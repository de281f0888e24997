// The lists stay in the context: a report that shows them twice reads them once.
#include "cli/diag/zone_report.h"

#include <array>
#include <iostream>
#include <utility>

#include "cli/account/binding.h"
#include "cli/common/error_text.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "facts/zones.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/zones/zone_layout.h"

namespace joinscope {
namespace {

boost::shared_ptr<tolk::ADBinding> bindForZones(TaskContext& context, const char* server,
                                                std::ostream* verbose) {
  boost::shared_ptr<tolk::ADBinding> binding = getGCBinding(context);
  if (binding) return binding;
  std::cout << prefix(1) << "Cannot connect to GC, trying DC...\n";
  binding = getBinding(context, server, verbose);
  if (!binding) {
    std::cout << prefix(1) << "Cannot read zone data: unable to bind to DC.\n";
    showBindFailure(context);
  }
  return binding;
}

/// A name that is no distinguished name is shown as it is.
std::string location(const tolk::ADObject& zone) {
  try {
    return tolk::DN::canonicalFromDN(zone[tolk::AD_DN]);
  } catch (const std::exception&) {
    return zone.dn();
  }
}

}  // namespace

void zoneReport(TaskContext& context, const char* server, std::ostream* verbose) {
  std::cout << "\nRetrieving zone data from " << context.domain << '\n' << std::flush;
  if (!loadZones(context, server, verbose)) return;
  printZones(*context.standardZones, "Standard");
  printZones(*context.rfc2307Zones, "Standard 2307");
  printZones(*context.sfuZones, "Microsoft SFU");
}

bool loadZones(TaskContext& context, const char* server, std::ostream* verbose) {
  if (context.zonesLoaded) return true;
  const boost::shared_ptr<tolk::ADBinding> binding = bindForZones(context, server, verbose);
  if (!binding) return false;
  try {
    context.standardZones = readZones(*binding, ZoneLayout::standard);
    context.rfc2307Zones = readZones(*binding, ZoneLayout::rfc2307);
    context.sfuZones = readZones(*binding, ZoneLayout::sfu);
    context.zonesLoaded = true;
  } catch (const std::exception& failure) {
    sinkOf(verbose) << prefix(2) << "Cannot read zone data: " << tolk::printable(failure.what())
                    << '\n';
  }
  return context.zonesLoaded;
}

void printZones(const tolk::ADObjectList& zones, const std::string& layoutName) {
  writeZones(std::cout, zones, layoutName);
}

void writeZones(std::ostream& out, const tolk::ADObjectList& zones, const std::string& layoutName) {
  if (zones.empty()) return;
  out << prefix(1) << "Pellion " << layoutName << " zones:\n";
  for (const tolk::ADObject& zone : zones) {
    out << prefix(2) << tolk::printable(zone.getString(tolk::TOLK_ZONE_NAME, "")) << " ("
        << zoneVersionText(zone.getString(tolk::AD_DISPLAY_NAME, "")) << ") - "
        << tolk::printable(location(zone)) << '\n';
  }
}

std::string_view zoneVersionText(std::string_view marker) noexcept {
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 7> kVersions{{
      {tolk::ZONE_VERSION2, "2.x"},
      {tolk::ZONE_VERSION3, "3.x"},
      {tolk::ZONE_VERSION4, "4.x"},
      {tolk::ZONE_VERSION5, "4.x"},
      {tolk::ZONE_VERSION6, "5.x"},
      {tolk::ZONE_VERSION7, "5.x"},
      {tolk::ZONE_VERSION9, "5.x"},
  }};
  for (const auto& [version, text] : kVersions) {
    if (tolk::equalsIgnoringCase(marker, version)) return text;
  }
  return "Unknown";
}

}  // namespace joinscope
