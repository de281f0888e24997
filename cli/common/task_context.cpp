// The task context: construction from the join settings, and release in the one order that works.
#include "cli/common/task_context.h"

#include <boost/make_shared.hpp>
#include <exception>
#include <ostream>
#include <string_view>

#include "cli/common/output.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/ldap/ad_binding.h"

namespace joinscope {
namespace {

constexpr char kSettingsDirectory[] = "/var/orvald";

void tellUnreadable(std::ostream* diag, const std::exception& error) {
  if (diag == nullptr) return;
  *diag << prefix(1) << "Cannot read join setting: " << tolk::printable(error.what()) << '\n';
}

std::string readSetting(const tolk::JoinSettings& settings, std::string_view name,
                        const char* whenMissing, std::ostream* diag) {
  try {
    return settings.load(name, false, true);
  } catch (const tolk::NotFoundException&) {
    return whenMissing;
  } catch (const std::exception& error) {
    tellUnreadable(diag, error);
    return kUnavailable;
  }
}

}  // namespace

TaskContext::TaskContext(UserCredentials* taskCredentials, const char* domainArgument,
                         std::ostream* diag)
    : TaskContext(taskCredentials, domainArgument, diag, tolk::JoinSettings(kSettingsDirectory)) {}

TaskContext::TaskContext(UserCredentials* taskCredentials, const char* domainArgument,
                         std::ostream* diag, const tolk::JoinSettings& settings)
    : credentials(taskCredentials),
      domainGiven(domainArgument != nullptr),
      standardZones(boost::make_shared<tolk::ADObjectList>()),
      rfc2307Zones(boost::make_shared<tolk::ADObjectList>()),
      sfuZones(boost::make_shared<tolk::ADObjectList>()) {
  // Reports rely on an empty domain where this host has none.
  joinedDomain = readSetting(settings, tolk::SETTING_DOMAIN_NAME, "", diag);
  domain = domainGiven ? domainArgument : joinedDomain;
  try {
    if (!settings.joined()) return;
    hostName = readSetting(settings, tolk::SETTING_HOST_NAME, kUnavailable, diag);
    preWin2kHostName = settings.preW2KHostName();
    joined = true;
  } catch (const tolk::IOException& error) {
    tellUnreadable(diag, error);
  }
}

TaskContext::~TaskContext() {
  binding.reset();
  gcBinding.reset();
  memCache.reset();
  kerberosContext.reset();
}

}  // namespace joinscope
