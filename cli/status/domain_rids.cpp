// Text only: facts/domain_rids.h asks.
#include "cli/status/domain_rids.h"

#include <iostream>
#include <memory>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "cli/status/join_setting.h"
#include "facts/domain_rids.h"
#include "tolk/base/handle.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/rpc/orv_session.h"

namespace joinscope {
namespace {

constexpr long kDefaultWaitSeconds = 60;
constexpr char kAutoZone[] = "Auto Zone";

using KeyValueSet = std::unique_ptr<OrvKeyValue, tolk::Releaser<orvFreeKeyValueSet>>;

}  // namespace

void printDomainRids(TaskContext& context, const char* server, std::ostream* verbose) {
  if (getJoinSetting(context, tolk::SETTING_ZONE_REALNAME, kUnavailable, nullptr, server, true) !=
      kAutoZone) {
    return;
  }
  OrvKeyValue* found = nullptr;
  const int code = getDomainRids(domainRidsWaitSeconds(verbose), &found);
  const KeyValueSet set(found);
  if (code != OrvCode::kSuccess) {
    reportRidError(code);
    return;
  }
  writeDomainRids(std::cout, set.get(), context.joinedDomain);
}

long domainRidsWaitSeconds(std::ostream* verbose) {
  const long seconds =
      tolk::Props().getTime(tolk::PN::JOIN_VELKD_WAIT_TIME, 's', kDefaultWaitSeconds);
  sinkOf(verbose) << prefix(1) << "It may take up to " << seconds
                  << " seconds to gather information...\n";
  return seconds;
}

void reportRidError(int code) {
  switch (code) {
    case OrvCode::kSuccess:
      return;
    case OrvCode::kNoDaemon:
    case OrvCode::kBroken:
      std::cerr << prefix(1) << "Could not communicate with velkd\n";
      return;
    case OrvCode::kStillGathering:
      std::cerr << prefix(1) << "Timed out getting domain RIDs from velkd\n";
      return;
    default:
      std::cerr << prefix(1) << "Could not get domain RIDs from velkd: "
                << tolk::printable(orvGetOrvCodeStr(code)) << '\n';
  }
}

void writeDomainRids(std::ostream& out, const OrvKeyValue* set, const std::string& joinedDomain) {
  out << "Domain RIDs in forest:\n";
  const std::string current = tolk::toUpper(joinedDomain);
  for (const OrvKeyValue* pair = set; pair != nullptr && pair->key != nullptr; ++pair) {
    out << prefix(1) << tolk::printable(pair->key) << ": " << tolk::printable(pair->value);
    if (pair->key == current) out << " (current domain)";
    out << '\n';
  }
}

}  // namespace joinscope
