// The objects below CN=Partitions name the forest's domains in both forms (MS-ADTS 6.1.1.2.1).
#include "cli/account/short_name_proof.h"

#include <string>

#include "cli/common/exit_status.h"
#include "cli/common/task_context.h"
#include "cli/common/user_credentials.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/search_request.h"
#include "tolk/net/netbios_domain.h"

namespace joinscope {
namespace {

constexpr const char* kDnsName = "dnsRoot";
constexpr const char* kShortName = "nETBIOSName";

/// The short name that the user put in front, where it is the domain's by discovery's word; else
/// "".
std::string claimedName(const TaskContext& context) {
  const char* given = context.credentials->user;
  const std::string user = given == nullptr ? "" : given;
  const std::size_t slash = user.find('\\');
  if (slash == std::string::npos) return {};
  const std::string name = user.substr(0, slash);
  const std::string told = tolk::netbiosNameOf(context.domain);
  return tolk::equalsIgnoringCase(name, told) ? name : std::string();
}

std::string nameInDirectory(tolk::ADBinding& binding, const std::string& domain) {
  constexpr const char* kAttributes[] = {kDnsName, kShortName, nullptr};
  const auto domains = binding.search("(&(objectClass=crossRef)(nETBIOSName=*))",
                                      "CN=Partitions," + binding.configurationContext(),
                                      kAttributes, tolk::SearchScope::oneLevel, 0, 0, 0);
  for (const tolk::ADObject& one : *domains) {
    if (tolk::equalsIgnoringCase(one.getString(kDnsName, ""), domain)) {
      return one.getString(kShortName, "");
    }
  }
  throw tolk::NotFoundException("the directory has no object for this domain");
}

}  // namespace

bool proveShortName(TaskContext& context) {
  std::string trouble;
  try {
    const std::string claimed = claimedName(context);
    if (claimed.empty()) return true;
    const std::string own = nameInDirectory(*context.binding, context.domain);
    if (tolk::equalsIgnoringCase(own, claimed)) return true;
    trouble = "by the directory that is " + tolk::printable(own);
  } catch (const std::exception& failure) {
    trouble = tolk::printable(failure.what());
  }
  context.errorMessage = "The password was accepted, but the user's domain is not known to be " +
                         tolk::printable(context.domain) +
                         ": its short name was told by an unsigned answer, and " + trouble;
  context.errorCode = exit_status::kMiscError;
  return false;
}

}  // namespace joinscope
