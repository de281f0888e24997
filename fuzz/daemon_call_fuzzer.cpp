// Calls on the daemon's channel from whoever may connect to it: each is answered with a message, or
// is no call. The first byte says whether root calls.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/base/json.h"
#include "velkd/service.h"

namespace {

struct NoCloud final : velkd::CloudDesk {
  void askInstance(std::function<void(const velkd::CloudInstance&)> done) override { done({}); }
  bool authenticate(std::function<void(velkd::MfaSessions&)> /*work*/) override { return false; }
  bool logEvent(velkd::PrivilegeEvent /*event*/) override { return true; }
};

struct Daemon {
  velkd::StatusBoard board;
  velkd::Mailbox mailbox;
  NoCloud cloud;
  velkd::Worker worker{velkd::Places(4, 0),
                       [] { return std::chrono::steady_clock::now() + std::chrono::hours(1); }};
  velkd::Service service{board,
                         worker,
                         [](const velkd::FetchCall&) { return R"({"parameters":{}})"; },
                         [](std::chrono::steady_clock::time_point) {},
                         cloud,
                         mailbox};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* const daemon = new Daemon;
  if (size == 0) return 0;
  const uid_t user = data[0] % 2 == 0 ? 0 : 1500;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  try {
    const velkd::Outcome outcome = daemon->service.handle(
        {.connection = 1, .call = 1, .caller = {.uid = user, .pid = 1}, .text = text});
    const std::string answer = outcome.answer.value_or("");
    if (!answer.empty()) (void)tolk::json::parse(answer);
  } catch (const tolk::BadDataException&) {
  }
  (void)daemon->mailbox.takeAll();
  return 0;
}
