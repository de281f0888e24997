// The join settings by the agent library's own reader.
#include "facts/subjects/join.h"

#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/ldap/sid.h"

namespace joinscope::facts {
namespace {

/// The domain's part of a SID as text: all but what is behind the last "-".
std::string domainPart(const std::string& sid) {
  const auto last = sid.rfind('-');
  return last == std::string::npos ? std::string() : sid.substr(0, last);
}

}  // namespace

Join readJoin() {
  Join join;
  const tolk::JoinSettings settings(tolk::kStateDirectory);
  join.settings = ask([&] {
    join.joinedDomain = tolk::toLower(settings.load(tolk::SETTING_DOMAIN_NAME, false, false));
    join.joinedHost = settings.load(tolk::SETTING_HOST_NAME, false, false);
    join.site = settings.load(tolk::SETTING_MACHINE_SITE, false, false);
    join.controller = settings.load(tolk::SETTING_DOMAIN_CONTROLLER, false, false);
    join.domainSid = domainPart(settings.load(tolk::SETTING_HOSTSID, false, false));
    if (!join.joinedHost.empty()) join.account = settings.preW2KHostName();
  });
  join.damage = settings.damage();
  return join;
}

}  // namespace joinscope::facts
