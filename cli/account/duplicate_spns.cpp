// One search in a global catalog, or where there is none in the domain; more than one object
// found is the finding.
#include "cli/account/duplicate_spns.h"

#include <exception>
#include <iostream>
#include <list>
#include <string>

#include "cli/account/binding.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/zones/spn_search.h"

namespace joinscope {
namespace {

bool isDisabled(const tolk::ADObject& object) {
  try {
    return (object.getInt(tolk::AD_USER_ACCNT_CONTROL, 0) & tolk::UF_ACCOUNT_DISABLED) != 0;
  } catch (const tolk::SystemException&) {
    return false;
  }
}

/// In the forest by the run's global catalog; in the domain when there is none.
tolk::ADObjectList search(TaskContext& context, tolk::ADBinding& domain,
                          const std::list<std::string>& names) {
  if (const boost::shared_ptr<tolk::ADBinding> catalog = getGCBinding(context)) {
    try {
      return tolk::findObjsWithSpns(*catalog, names);
    } catch (const tolk::Base_Exception& failure) {
      tolk::Logger::GetThreadPrivateLogger("cli.joinscope")
          .log(tolk::LogLevel::debug,
               std::string("The global catalog failed, searching the domain: ") + failure.what());
    }
  }
  return tolk::findObjsWithSpns(domain, names);
}

tolk::ADObjectList findClaimants(const Run& run, tolk::ADBinding& domain) {
  try {
    return search(run.context, domain,
                  {"host/" + tolk::longJoinedHostName(), "host/" + tolk::PreW2KHostName()});
  } catch (const std::exception& failure) {
    run.verbose << prefix(2) << "Exception: " << tolk::printable(failure.what()) << '\n';
    return {};
  }
}

}  // namespace

void showDuplicateSpns(TaskContext& context, const char* server, std::ostream* verbose) {
  if (!context.joined) return;
  const boost::shared_ptr<tolk::ADBinding> binding = getBinding(context, server, verbose);
  if (!binding) {
    std::cout << prefix(1) << "Cannot find SPNs: unable to bind to DC.\n"
              << context.errorMessage << '\n';
    return;
  }
  writeDuplicateSpns(std::cout, findClaimants(Run(context, server, verbose), *binding));
}

void writeDuplicateSpns(std::ostream& out, const tolk::ADObjectList& objects) {
  if (objects.size() < 2) return;
  out << "Objects that contain same SPNs.The duplicate SPNs DN are:\n";
  for (const tolk::ADObject& object : objects) {
    if (isDisabled(object)) continue;
    out << prefix(1) << tolk::printable(object[tolk::AD_DN].toString()) << '\n';
  }
}

}  // namespace joinscope
