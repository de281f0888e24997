// The task context: construction from the join settings, and release in the one order that works.
#include "cli/common/task_context.h"

#include <boost/make_shared.hpp>
#include <exception>
#include <ostream>
#include <string_view>

#include "cli/common/run.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/ldap/ad_binding.h"

namespace joinscope {
namespace {

std::string readSetting(const tolk::JoinSettings& settings, std::string_view name,
                        const char* whenMissing) {
  try {
    return settings.load(name, false, true);
  } catch (const tolk::NotFoundException&) {
    return whenMissing;
  } catch (const std::exception&) {
    return kUnavailable;
  }
}

}  // namespace

TaskContext::TaskContext(UserCredentials* taskCredentials, const char* domainArgument,
                         std::ostream* told)
    : TaskContext(taskCredentials, domainArgument, told,
                  tolk::JoinSettings(tolk::kStateDirectory)) {}

TaskContext::TaskContext(UserCredentials* taskCredentials, const char* domainArgument,
                         std::ostream* told, const tolk::JoinSettings& settings)
    : credentials(taskCredentials),
      domainGiven(domainArgument != nullptr),
      standardZones(boost::make_shared<tolk::ADObjectList>()),
      rfc2307Zones(boost::make_shared<tolk::ADObjectList>()),
      sfuZones(boost::make_shared<tolk::ADObjectList>()) {
  for (const std::string& line : settings.damage()) {
    sinkOf(told) << tolk::printable(line) << '\n';
  }
  // Reports rely on an empty domain where this host has none.
  joinedDomain = readSetting(settings, tolk::SETTING_DOMAIN_NAME, "");
  domain = domainGiven ? domainArgument : joinedDomain;
  try {
    if (!settings.joined()) return;
    hostName = readSetting(settings, tolk::SETTING_HOST_NAME, kUnavailable);
    preWin2kHostName = settings.preW2KHostName();
    joined = true;
  } catch (const tolk::IOException&) {
    return;
  }
}

TaskContext::~TaskContext() {
  binding.reset();
  gcBinding.reset();
  memCache.reset();
  kerberosContext.reset();
}

}  // namespace joinscope
