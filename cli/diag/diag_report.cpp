// The `--diag` report: a table of sections.
#include "cli/diag/diag_report.h"

#include <array>
#include <iostream>

#include "cli/common/version.h"
#include "cli/diag/domain_diagnostics.h"
#include "cli/diag/host_section.h"
#include "cli/diag/ip_section.h"

namespace joinscope {
namespace {

/// What a section may draw on.
struct ReportRun {
  TaskContext& ctx;
  const char* server;
  std::ostream* diag;
};

using Section = void (*)(const ReportRun&);

constexpr std::array<Section, 4> kSections{
    [](const ReportRun&) { printVersion(); },
    [](const ReportRun& run) { hostDiagnostics(run.diag); },
    [](const ReportRun& run) { ipDiagnostics(run.diag); },
    [](const ReportRun& run) { domainDiagnostics(run.ctx, run.server, run.diag); },
};

}  // namespace

int diagReport(TaskContext& ctx, const char* server, std::ostream* diag) {
  const ReportRun run{ctx, server, diag};
  for (const Section section : kSections) {
    section(run);
    std::cout << '\n' << std::flush;
  }
  return 0;
}

}  // namespace joinscope
