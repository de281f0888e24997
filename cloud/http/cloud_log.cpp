// The records of the cloud client.
#include "cloud/http/cloud_log.h"

#include "tolk/base/text.h"

namespace tolk {

void CloudLog::operator()(LogLevel level, const char* pattern,
                          std::initializer_list<std::string> arguments,
                          SourceLocation where) const {
  if (!Logger::enabled(level)) return;
  Logger::GetThreadPrivateLogger(name_).log(level, formatText(pattern, arguments), where);
}

}  // namespace tolk
