// The support report: everything that a support engineer asks for first.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "cli/common/run.h"

namespace joinscope {

/// One report on standard output.
class SupportReport {
 public:
  /// `watcher` is a descriptor on which the name of each section is shown while it is made; -1 for
  /// none.
  SupportReport(const Run& run, int watcher) : run_(run), watcher_(watcher) {}

  /// Writes it. A missing file or failing command leaves a line and the report goes on. Always 0;
  /// throws tolk::NotFoundException when /etc/pam.d/ cannot be read, tolk::IOException when there
  /// is no private temporary directory.
  int write();

 private:
  void announce(std::string_view section);  // to the watcher
  void begin(const std::string& heading);   // that, and a line end and the heading in the report
  void fileSection(const std::string& path);
  void agentReports();
  void nameServiceFiles();
  void keytab();
  void pamFiles();
  void nameServiceCache();
  void libraries();
  void environment();
  void log();

  Run run_;
  int watcher_;
};

/// The report, watched by nobody.
int ShowSupportInfo(TaskContext& context, const char* server, std::ostream* verbose);

/// The join settings that an earlier join left behind.
void showPreviousKsets();

}  // namespace joinscope
