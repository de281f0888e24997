// More than one object found is the finding.
#include "cli/account/duplicate_spns.h"

#include <exception>
#include <iostream>

#include "cli/account/binding.h"
#include "cli/common/error_text.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

std::vector<Claimant> findClaimants(const Run& run, tolk::ADBinding& domain) {
  const boost::shared_ptr<tolk::ADBinding> catalog = getGCBinding(run.context);
  try {
    return readClaimants(domain, catalog.get(),
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
    std::cout << prefix(1) << "Cannot find SPNs: unable to bind to DC.\n";
    showBindFailure(context);
    return;
  }
  writeDuplicateSpns(std::cout, findClaimants(Run(context, server, verbose), *binding));
}

void writeDuplicateSpns(std::ostream& out, const std::vector<Claimant>& claimants) {
  if (claimants.size() < 2) return;
  out << "Objects that contain same SPNs.The duplicate SPNs DN are:\n";
  for (const Claimant& claimant : claimants) {
    if (!claimant.disabled) out << prefix(1) << tolk::printable(claimant.dn) << '\n';
  }
}

}  // namespace joinscope
