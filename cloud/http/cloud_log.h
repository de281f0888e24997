// The records of the cloud client.
#pragma once

#include <initializer_list>
#include <string>

#include "tolk/base/logger.h"
#include "tolk/base/source_location.h"

namespace tolk {

/// Writes records by the logger of that name; `pattern` is printf-like, with one text for each
/// directive. Below the configured level nothing is formatted or written; the texts are made all
/// the same.
class CloudLog {
 public:
  explicit constexpr CloudLog(const char* name) noexcept : name_(name) {}

  void operator()(LogLevel level, const char* pattern,
                  std::initializer_list<std::string> arguments = {},
                  SourceLocation where = SourceLocation::current()) const;
  /// Level 1.
  void debug(const char* pattern, std::initializer_list<std::string> arguments = {},
             SourceLocation where = SourceLocation::current()) const {
    (*this)(LogLevel::debug, pattern, arguments, where);
  }
  /// Level 4.
  void error(const char* pattern, std::initializer_list<std::string> arguments = {},
             SourceLocation where = SourceLocation::current()) const {
    (*this)(LogLevel::error, pattern, arguments, where);
  }

 private:
  const char* name_;
};

}  // namespace tolk
