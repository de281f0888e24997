// What the daemon keeps of the platform's state.
#include "velkd/cloud_service.h"

#include <gtest/gtest.h>

#include <future>

#include "tests/unit/cloud/fixed_connectors.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/run_queue.h"

namespace velkd {
namespace {

/// The daemon gets another configuration while the platform's address is first asked for.
class Reloading : public tolk::test::FixedConnectors {
 public:
  explicit Reloading(CloudService& service)
      : FixedConnectors("https://127.0.0.1:1/", ""), service_(service) {}
  std::string platformUrl() override {
    if (asked++ == 0) service_.reload();
    return FixedConnectors::platformUrl();
  }
  int asked = 0;

 private:
  CloudService& service_;
};

TEST(CloudService, AnswerIsKeptUnlessTheConfigurationChangesMeanwhile) {
  const StatusBoard board;
  CloudService service(board);
  Reloading connectors(service);
  tolk::Props().set(tolk::PN::CLOUD_DIRECT_CONNECTION, "true");
  for (const int asked : {1, 2, 2}) {
    std::promise<int> code;
    service.askInstance([&code](const CloudInstance& known) { code.set_value(known.code); });
    EXPECT_EQ(code.get_future().get(), CloudInstance::Code::notConnected);
    EXPECT_EQ(connectors.asked, asked);
  }
  tolk::Props().set(tolk::PN::CLOUD_DIRECT_CONNECTION, "false");
  EXPECT_TRUE(tolk::RunQueue::shutdown(std::chrono::seconds(20)));
}

}  // namespace
}  // namespace velkd
