// The `--diag` report: a table of sections.
#include "cli/diag/diag_report.h"

#include <array>
#include <iostream>

#include "cli/account/computer_account.h"
#include "cli/account/duplicate_spns.h"
#include "cli/common/run.h"
#include "cli/common/trouble_lines.h"
#include "cli/common/version.h"
#include "cli/diag/domain_diagnostics.h"
#include "cli/diag/host_sections.h"
#include "cli/status/domain_rids.h"
#include "cli/status/join_status.h"
#include "cli/status/security_modules.h"
#include "cli/status/sysinfo.h"
#include "tolk/rpc/daemon_protocol.h"

namespace joinscope {
namespace {

using Section = void (*)(const Run&);

void security(const Run& /*run*/) {
  showSelinuxStatus();
  showAppArmorStatus();
}

/// A section that takes the whole record.
template <auto Report>
void report(const Run& run) {
  Report(run.context, run.server, &run.verbose);
}

constexpr std::array<Section, 10> kSections{
    [](const Run&) { printVersion(); },
    [](const Run& run) { hostDiagnostics(&run.verbose); },
    [](const Run& run) { ipDiagnostics(&run.verbose); },
    report<domainDiagnostics>,
    report<printDomainRids>,
    report<showComputerAccount>,
    [](const Run& run) { sysinfo(run.context, tolk::daemon_module::kAll, &run.verbose); },
    report<showDuplicateSpns>,
    [](const Run& run) { printStatusHeader(run.context); },
    security,
};

}  // namespace

int diagReport(TaskContext& context, const char* server, std::ostream* verbose) {
  const Run run(context, server, verbose);
  for (const Section section : kSections) {
    section(run);
    tellTroubles(run.verbose);
    std::cout << '\n' << std::flush;
  }
  return 0;
}

}  // namespace joinscope
