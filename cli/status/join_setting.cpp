// The value as it stands, but for a zone, whose name for people may take the directory.
#include "cli/status/join_setting.h"

#include <exception>
#include <optional>
#include <ostream>

#include "cli/account/binding.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "facts/controllers.h"
#include "facts/join_place.h"
#include "facts/zones.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/dn.h"

namespace joinscope {
namespace {

std::string zoneNameFromDirectory(TaskContext& context, const std::string& zoneDn,
                                  const std::string& fallback, std::ostream* verbose,
                                  const char* server) {
  sinkOf(verbose).flush();
  const boost::shared_ptr<tolk::ADBinding> binding = getBinding(context, server, verbose);
  return binding ? readZoneName(*binding, zoneDn, kUnavailable) : fallback;
}

/// What the layout makes of the zone's distinguished name.
std::string zoneNameForPeople(TaskContext& context, const std::string& zoneDn,
                              const std::string& fallback, std::ostream* verbose,
                              const char* server) {
  const std::string layout = joinSetting(tolk::SETTING_SCHEMA).value_or("");
  if (layout == tolk::SCHEMA_ORV_V1_0) {
    return zoneNameFromDirectory(context, zoneDn, fallback, verbose, server);
  }
  if (layout == tolk::SCHEMA_SFU_V3_0V1) {
    return zoneDn + joinSetting(tolk::SETTING_ZONE_GUID).value_or(kUnavailable);
  }
  if (layout == tolk::SCHEMA_NULL) return "NULL";
  if (layout == tolk::SCHEMA_AUTO) return "Auto Zone";
  return tolk::DN::canonicalFromDN(zoneDn);
}

}  // namespace

std::string getJoinSetting(TaskContext& context, std::string_view key, const std::string& fallback,
                           std::ostream* verbose, const char* server, bool resolveZone) {
  const std::optional<std::string> value = joinSetting(key);
  if (!value) return fallback;
  if (key != tolk::SETTING_ZONE_REALNAME || !resolveZone) return *value;
  try {
    return zoneNameForPeople(context, *value, fallback, verbose, server);
  } catch (const tolk::NotFoundException&) {
    return fallback;
  } catch (const std::exception& e) {
    // What shows as "<unavailable>" has no other place for its reason.
    tolk::noteTrouble("cli.joinscope", tolk::printable(e.what()));
    return fallback;
  }
}

std::string currentDC(TaskContext& context) {
  const std::string controller = controllerInUse(context.joinedDomain);
  return controller.empty() ? kUnavailable : controller;
}

}  // namespace joinscope
