// Named loggers over spdlog. The command's records go to syslog, the daemon's to its file; never to
// standard output or standard error, which belong to the reports.
#pragma once

#include <string>

#include "tolk/base/source_location.h"

namespace tolk {

class Properties;

/// Severity of a record; the numbers are those of the configuration file.
enum class LogLevel { trace = 0, debug = 1, info = 2, warning = 3, error = 4 };

/// Names the place a record comes from when it is not the calling line itself.
struct LogSource {
  const char* file;
  const char* function;
  unsigned line = 0;
};

/// A named logger. Records below the root level of the configuration are dropped before they are
/// formatted. The level is read from Props() at the first question about it.
class Logger {
 public:
  explicit Logger(std::string name);

  /// The logger of that name; made at the first call and kept to the end of the process, so that
  /// destructors of statics may log. Any thread may use it.
  static Logger& GetThreadPrivateLogger(const std::string& name);

  /// Applies the property PN::ROOT_LOGGER_NAME ("TRACE", "DEBUG", "INFO", "WARN", "ERROR", any
  /// case) to all loggers. Another text counts as the documented default.
  static void ReconfigureLevels(const Properties& properties);

  [[nodiscard]] static bool enabled(LogLevel level) noexcept;

  /// Writes one record, "NAME: TEXT (FILE:LINE FUNCTION)", on one line: control characters of
  /// `text` are escaped, and it is cut at 16 KiB. Never throws; a record that cannot be written is
  /// lost. In a file, so are those that come from one place too often (log_limit.h); how many is
  /// told by a line of its own, before a later record.
  void log(LogLevel level, const std::string& text,
           SourceLocation where = SourceLocation::current()) const noexcept;
  void log(LogLevel level, const std::string& text, const LogSource& where) const noexcept;

 private:
  std::string name_;
};

/// Where all records go from now on.
enum class LogSink { syslog, file };

/// Chooses the sink, at the start of a program. `target` is the syslog identity or the file's path.
/// Costs nothing: the sink is opened at the first record, and after a failure again at the next
/// one. Before this call records are dropped.
void openLog(LogSink sink, const std::string& target);

}  // namespace tolk
