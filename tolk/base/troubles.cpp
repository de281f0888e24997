// One list for the process: lookups and binds deep in the library have no other way to the stream
// that --verbose opens, and the daemon, where nobody takes the lines, must not grow by them.
#include "tolk/base/troubles.h"

#include <mutex>
#include <set>
#include <utility>

#include "tolk/base/logger.h"

namespace tolk {
namespace {

constexpr std::size_t kMostLines = 256;

struct Troubles {
  std::mutex mutex;
  std::set<std::string> known;
  std::vector<std::string> fresh;
};

Troubles& troubles() {
  static auto* const all = new Troubles;  // never destroyed: destructors of statics may tell too
  return *all;
}

}  // namespace

void noteTrouble(const char* logger, const std::string& line) {
  Logger::GetThreadPrivateLogger(logger).log(LogLevel::debug, line);
  Troubles& all = troubles();
  const std::lock_guard lock(all.mutex);
  if (all.known.size() < kMostLines && all.known.insert(line).second) all.fresh.push_back(line);
}

std::vector<std::string> takeTroubles() {
  Troubles& all = troubles();
  const std::lock_guard lock(all.mutex);
  return std::exchange(all.fresh, {});
}

}  // namespace tolk
