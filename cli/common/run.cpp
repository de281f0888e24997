// The stream that swallows is one without a buffer: it fails from the start, so that nothing is
// even turned into text.
#include "cli/common/run.h"

#include <ostream>

namespace joinscope {

Run::Run(TaskContext& taskContext, const char* namedServer, std::ostream* diagnostics)
    : context(taskContext), server(namedServer), verbose(sinkOf(diagnostics)) {}

std::ostream& sinkOf(std::ostream* stream) {
  static std::ostream swallowing(nullptr);
  return stream != nullptr ? *stream : swallowing;
}

bool isRead(const std::ostream& sink) {
  return sink.rdbuf() != nullptr;
}

}  // namespace joinscope
