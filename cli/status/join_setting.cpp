// Values come from the settings; a zone's name for people may take the directory, the controller
// takes the daemon.
#include "cli/status/join_setting.h"

#include <exception>
#include <ostream>

#include "cli/account/binding.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/net/network_state.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/local_rpc_session.h"
#include "tolk/zones/zone_hierarchy.h"

namespace joinscope {
namespace {

constexpr int kStandardLayout = 1;
constexpr char kLogger[] = "cli.joinscope";

// What shows as "<unavailable>" has no other place for its reason.
void note(const std::exception& reason) {
  tolk::noteTrouble(kLogger, tolk::printable(reason.what()));
}

std::string zoneNameFromDirectory(TaskContext& context, const std::string& zoneDn,
                                  const std::string& fallback, std::ostream* verbose,
                                  const char* server) {
  sinkOf(verbose).flush();
  const boost::shared_ptr<tolk::ADBinding> binding = getBinding(context, server, verbose);
  if (!binding) return fallback;
  tolk::ADObject zone = binding->fetch(zoneDn, nullptr, tolk::AD_ALL_OBJECTS, false);
  zone[tolk::TOLK_EXT_FILTER] = tolk::ZoneObjectKind::zone;
  tolk::ZoneHierarchy::GetZoneHierarchy()->getSchema(kStandardLayout, nullptr)->convert(zone);
  zone.erase(tolk::TOLK_EXT_FILTER);
  return zone.getString(tolk::TOLK_ZONE_NAME, kUnavailable);
}

std::string controllerFromDaemon() {
  return tolk::LocalRpcSession().getCurrentDC();
}

std::string recordedController(const TaskContext& context) {
  try {
    return tolk::NetworkState::getDCFromKset(context.joinedDomain,
                                             tolk::ServiceType::domainController, false, true);
  } catch (const std::exception& e) {
    note(e);
    return {};
  }
}

}  // namespace

std::string getJoinSetting(TaskContext& context, std::string_view key, const std::string& fallback,
                           std::ostream* verbose, const char* server, bool resolveZone) {
  try {
    std::string value = tolk::loadSetting(key, false, true);
    if (key != tolk::SETTING_ZONE_REALNAME || !resolveZone) return value;
    const std::string schema =
        getJoinSetting(context, tolk::SETTING_SCHEMA, "", verbose, server, true);
    if (schema == tolk::SCHEMA_ORV_V1_0) {
      return zoneNameFromDirectory(context, value, fallback, verbose, server);
    }
    if (schema == tolk::SCHEMA_SFU_V3_0V1) {
      return value +
             getJoinSetting(context, tolk::SETTING_ZONE_GUID, kUnavailable, verbose, server, true);
    }
    if (schema == tolk::SCHEMA_NULL) return "NULL";
    if (schema == tolk::SCHEMA_AUTO) return "Auto Zone";
    return tolk::DN::canonicalFromDN(value);
  } catch (const tolk::NotFoundException&) {
    return fallback;
  } catch (const std::exception& e) {
    note(e);
    return fallback;
  }
}

std::string currentDC(TaskContext& context) {
  std::string controller;
  try {
    controller = controllerFromDaemon();
  } catch (const std::exception& e) {
    note(e);
    controller = recordedController(context);
  }
  return controller.empty() ? kUnavailable : controller;
}

}  // namespace joinscope
