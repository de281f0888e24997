// Named loggers: the one file that includes spdlog and fmt.
#include "tolk/base/logger.h"

#define SPDLOG_PREVENT_CHILD_FD  // the log file is not inherited by commands that the reports run
#include <spdlog/details/null_mutex.h>
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <syslog.h>

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "tolk/base/log_limit.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/syslog_socket.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr int kLevelUnknown = -1;
constexpr std::size_t kLongestText = std::size_t{16} << 10U;
std::atomic<int> rootLevel{kLevelUnknown};

struct LevelName {
  std::string_view name;
  LogLevel level;
};

constexpr std::array kLevelNames{
    LevelName{"TRACE", LogLevel::trace},     LevelName{"DEBUG", LogLevel::debug},
    LevelName{"INFO", LogLevel::info},       LevelName{"WARN", LogLevel::warning},
    LevelName{"WARNING", LogLevel::warning}, LevelName{"ERROR", LogLevel::error},
};

LogLevel levelNamed(std::string_view text, LogLevel fallback) noexcept {
  for (const LevelName& entry : kLevelNames) {
    if (equalsIgnoringCase(entry.name, text)) return entry.level;
  }
  return fallback;
}

spdlog::level::level_enum severity(LogLevel level) noexcept {
  switch (level) {
    case LogLevel::trace:
      return spdlog::level::trace;
    case LogLevel::debug:
      return spdlog::level::debug;
    case LogLevel::info:
      return spdlog::level::info;
    case LogLevel::warning:
      return spdlog::level::warn;
    case LogLevel::error:
      break;
  }
  return spdlog::level::err;
}

// Guarded by Output's lock.
class SyslogSink : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
 public:
  explicit SyslogSink(const std::string& identity) : socket_(identity, "/dev/log") {}

 private:
  static int severityOf(spdlog::level::level_enum level) noexcept {
    switch (level) {
      case spdlog::level::info:
        return LOG_INFO;
      case spdlog::level::warn:
        return LOG_WARNING;
      case spdlog::level::err:
      case spdlog::level::critical:
        return LOG_ERR;
      default:
        return LOG_DEBUG;
    }
  }

  void sink_it_(const spdlog::details::log_msg& record) override {
    spdlog::memory_buf_t text;
    formatter_->format(record, text);
    socket_.send(severityOf(record.level), {text.data(), text.size()});
  }
  void flush_() override {}

  SyslogSocket socket_;
};

// An administrator who asks for details gets more of them, but no full disk either.
LogRate rateOf(LogLevel level) {
  constexpr LogRate kDetails{.atOnce = 1000, .interval = std::chrono::milliseconds(100)};
  constexpr LogRate kEvents{.atOnce = 30, .interval = std::chrono::seconds(10)};
  return level < LogLevel::info ? kDetails : kEvents;
}

// The sink that was chosen, and the spdlog logger over it once a record was written.
class Output {
 public:
  // Never destroyed: records of other objects' destructors at the end of the process still find it.
  static Output& instance() {
    static auto* const output = new Output;
    return *output;
  }

  void choose(LogSink sink, std::string target) {
    const std::scoped_lock guard(mutex_);
    logger_.reset();
    sink_ = sink;
    target_ = std::move(target);
  }

  // Whether there is to be a record from that place now. The system's log has limits of its own.
  [[nodiscard]] bool admits(LogLevel level, const LogSource& where) {
    const std::scoped_lock guard(mutex_);
    return !target_.empty() &&
           (sink_ != LogSink::file ||
            limit_.admit({where.file, where.line}, rateOf(level), LogLimit::Clock::now()));
  }

  void write(LogLevel level, const std::string& record) {
    const std::scoped_lock guard(mutex_);
    if (target_.empty()) return;
    if (!logger_) logger_ = open();
    for (const auto& [place, lines] : limit_.takeLeftOut(LogLimit::Clock::now())) {
      logger_->log(spdlog::level::warn, "base.logger: {} lines were left out ({}:{})", lines,
                   place.first, place.second);
    }
    logger_->log(severity(level), spdlog::string_view_t(record));
  }

 private:
  [[nodiscard]] std::unique_ptr<spdlog::logger> open() const {
    auto logger = std::make_unique<spdlog::logger>(target_, makeSink());
    logger->set_level(spdlog::level::trace);  // the root level was asked before the record was made
    logger->flush_on(spdlog::level::trace);
    logger->set_error_handler([](const std::string&) {});  // spdlog's own writes to standard error
    return logger;
  }

  [[nodiscard]] spdlog::sink_ptr makeSink() const {
    if (sink_ == LogSink::file) {
      auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(target_);
      sink->set_formatter(
          std::make_unique<spdlog::pattern_formatter>("%Y-%m-%d %H:%M:%S.%e %P %l %v"));
      return sink;
    }
    auto sink = std::make_shared<SyslogSink>(target_);
    sink->set_formatter(std::make_unique<spdlog::pattern_formatter>(
        "%l %v", spdlog::pattern_time_type::local, std::string()));
    return sink;
  }

  std::mutex mutex_;
  LogSink sink_ = LogSink::syslog;
  std::string target_;
  std::unique_ptr<spdlog::logger> logger_;
  LogLimit limit_;
};

}  // namespace

Logger::Logger(std::string name) : name_(std::move(name)) {}

Logger& Logger::GetThreadPrivateLogger(const std::string& name) {
  // One map for all threads, never destroyed: a thread's own would be gone before the objects whose
  // destructors still log at the end of the process. A logger has no state but its name.
  struct Registry {
    std::mutex mutex;
    std::map<std::string, Logger> loggers;
  };
  static auto* const registry = new Registry;
  const std::scoped_lock guard(registry->mutex);
  return registry->loggers.try_emplace(name, name).first->second;
}

void Logger::ReconfigureLevels(const Properties& properties) {
  const LogLevel standard = levelNamed(PN::ROOT_LOGGER_NAME.value, LogLevel::info);
  const std::string text = properties.getProperty(PN::ROOT_LOGGER_NAME);
  rootLevel = static_cast<int>(levelNamed(text, standard));
}

bool Logger::enabled(LogLevel level) noexcept {
  try {
    if (rootLevel == kLevelUnknown) ReconfigureLevels(Props());
  } catch (...) {
    return false;  // out of memory while reading the configuration: the record is lost
  }
  return static_cast<int>(level) >= rootLevel;
}

void Logger::log(LogLevel level, const std::string& text, SourceLocation where) const noexcept {
  log(level, text, LogSource{where.file_name(), where.function_name(), where.line()});
}

void Logger::log(LogLevel level, const std::string& text, const LogSource& where) const noexcept {
  if (!enabled(level)) return;
  try {
    if (!Output::instance().admits(level, where)) return;
    Output::instance().write(
        level, fmt::format("{}: {} ({}:{} {})", name_, printable(text.substr(0, kLongestText)),
                           where.file, where.line, where.function));
  } catch (...) {
    // The sink cannot be opened, or memory is short. There is no other place to say so.
    return;
  }
}

void openLog(LogSink sink, const std::string& target) {
  Output::instance().choose(sink, target);
}

}  // namespace tolk
