// The `--diag` report: a table of sections.
#include "cli/diag/diag_report.h"

#include <array>
#include <iostream>

#include "cli/account/computer_account.h"
#include "cli/account/duplicate_spns.h"
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

/// What a section may draw on.
struct ReportRun {
  TaskContext& ctx;
  const char* server;
  std::ostream* diag;
};

using Section = void (*)(const ReportRun&);

void security(const ReportRun& /*run*/) {
  showSelinuxStatus();
  showAppArmorStatus();
}

constexpr std::array<Section, 10> kSections{
    [](const ReportRun&) { printVersion(); },
    [](const ReportRun& run) { hostDiagnostics(run.diag); },
    [](const ReportRun& run) { ipDiagnostics(run.diag); },
    [](const ReportRun& run) { domainDiagnostics(run.ctx, run.server, run.diag); },
    [](const ReportRun& run) { printDomainRids(run.ctx, run.server, run.diag); },
    [](const ReportRun& run) { showComputerAccount(run.ctx, run.server, run.diag); },
    [](const ReportRun& run) { sysinfo(run.ctx, tolk::daemon_module::kAll, run.diag); },
    [](const ReportRun& run) { showDuplicateSpns(run.ctx, run.server, run.diag); },
    [](const ReportRun& run) { printStatusHeader(run.ctx); },
    security,
};

}  // namespace

int diagReport(TaskContext& ctx, const char* server, std::ostream* diag) {
  const ReportRun run{ctx, server, diag};
  for (const Section section : kSections) {
    section(run);
    tellTroubles(diag);
    std::cout << '\n' << std::flush;
  }
  return 0;
}

}  // namespace joinscope
