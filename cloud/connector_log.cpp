// The records of the connector search.
#include "cloud/connector_log.h"

#include "tolk/base/text.h"

namespace tolk {

void logConnector(LogLevel level, const char* pattern, std::initializer_list<std::string> arguments,
                  SourceLocation where) {
  if (!Logger::enabled(level)) return;
  Logger::GetThreadPrivateLogger("base.cloudconnector.locator")
      .log(level, formatText(pattern, arguments), where);
}

}  // namespace tolk
