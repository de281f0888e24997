// The records of the connector search, by one logger.
#pragma once

#include <initializer_list>
#include <string>

#include "tolk/base/logger.h"
#include "tolk/base/source_location.h"

namespace tolk {

/// Writes one record; `pattern` is printf-like, with one text for each directive.
void logConnector(LogLevel level, const char* pattern,
                  std::initializer_list<std::string> arguments = {},
                  SourceLocation where = SourceLocation::current());

}  // namespace tolk
