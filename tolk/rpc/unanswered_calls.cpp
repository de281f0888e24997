// Which calls a daemon has left unanswered in this process.
#include "tolk/rpc/unanswered_calls.h"

#include <map>
#include <mutex>
#include <utility>

#include "tolk/rpc/daemon_protocol.h"

namespace tolk {
namespace {

struct Memory {
  std::mutex mutex;
  std::map<std::pair<std::string, std::string>, std::chrono::milliseconds> waits;
};

Memory& memory() {
  static Memory one;
  return one;
}

}  // namespace

void noteUnanswered(const std::string& socket, std::string_view method,
                    std::chrono::milliseconds limit) {
  Memory& known = memory();
  const std::lock_guard lock(known.mutex);
  known.waits[{socket, std::string(method)}] = limit;
}

std::chrono::milliseconds waitedInVain(const std::string& socket, std::string_view method) {
  Memory& known = memory();
  const std::lock_guard lock(known.mutex);
  for (const std::string_view name : {method, daemon_method::kAuthenticate}) {
    const auto found = known.waits.find({socket, std::string(name)});
    if (found != known.waits.end()) return found->second;
  }
  return std::chrono::milliseconds(0);
}

}  // namespace tolk
