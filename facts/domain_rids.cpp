// The daemon gathers them in its own time, so it is asked again until it has, or time is up.
#include "facts/domain_rids.h"

#include <chrono>
#include <memory>
#include <thread>

#include "tolk/base/handle.h"
#include "tolk/rpc/orv_session.h"

namespace joinscope {
namespace {

constexpr int kInterfaceVersion = 1;
constexpr int kClient = 21;

using Session = std::unique_ptr<OrvSession, tolk::Releaser<orvSessionClose>>;

}  // namespace

int getDomainRids(long seconds, OrvKeyValue** set) {
  *set = nullptr;
  OrvSession* opened = nullptr;
  int code = orvSessionOpen(kInterfaceVersion, kClient, &opened);
  const Session session(opened);
  if (code != OrvCode::kSuccess) return code;
  code = OrvCode::kStillGathering;
  for (long attempt = 0; attempt < seconds && code == OrvCode::kStillGathering; ++attempt) {
    code = orvGetDomainRids(session.get(), set);
    if (code == OrvCode::kStillGathering) std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  return code;
}

}  // namespace joinscope
