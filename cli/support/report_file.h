// A file that takes the place of standard output and standard error for a while.
#pragma once

#include <string>

#include "tolk/base/handle.h"

namespace joinscope {

/// Puts a new file in the place of both streams, and the streams back at the end of its life
/// at the latest. A regular file or a link at the path is removed, not written through: the file
/// is made anew, and only its owner may read it. A device, a FIFO or a directory stays, unopened.
/// What fails is said on standard error.
class ReportFile {
 public:
  explicit ReportFile(std::string path);
  ReportFile(const ReportFile&) = delete;
  ReportFile& operator=(const ReportFile&) = delete;
  ~ReportFile();

  /// Whether both streams go to the file.
  [[nodiscard]] bool redirected() const noexcept { return redirected_; }
  /// Puts the streams back; false when that fails. Warns when not all of the report could be
  /// written.
  bool restore();
  /// Standard error as it was, when a person is watching there; else -1.
  [[nodiscard]] int watcher() const noexcept;

 private:
  bool redirect();
  bool putBack(const tolk::UniqueFd& saved, int descriptor, const char* complaint);

  std::string path_;
  tolk::UniqueFd output_;  // the streams as they were
  tolk::UniqueFd error_;
  bool redirected_ = false;
};

}  // namespace joinscope
