// The state probe against a daemon on a real socket that answers well, badly or not at all, and
// against real locks.
#include "facts/agent_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/unit/tolk/base/child_process.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tests/unit/tolk/rpc/scripted_daemon.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/troubles.h"

namespace joinscope {
namespace {

using namespace std::string_literals;

const std::string kKnown = R"({"parameters":{"uid":0}})" + "\0"s;  // the answer to Authenticate

std::string computer(const std::string& attributes) {
  return R"({"parameters":{"object":{"dn":"CN=host1","attributes":[)" + attributes + "]}}}\0"s;
}

std::string accountControl(const std::string& values) {
  return computer(R"({"name":"userAccountControl","values":[)" + values + "]}");
}

class AgentStateProbe : public testing::Test {
 protected:
  void SetUp() override { directory_.write("kset.hostsid", "S-1-5-21-1-2-3-1104\n"); }

  AgentState probe() {
    return agentStateAt(tolk::JoinSettings(directory_.path()), directory_.path().c_str(),
                        lockPath_.c_str());
  }
  AgentState probeDaemon(const std::vector<std::string>& answers) {
    const tolk::test::ScriptedDaemon daemon(directory_.path("velkd.sock"), answers);
    const AgentState state = probe();
    std::filesystem::remove(directory_.path("velkd.sock"));
    return state;
  }

  ScratchDirectory directory_;
  std::string lockPath_ = directory_.path("velkd.lock");
};

TEST_F(AgentStateProbe, DaemonsAnswerDecides) {
  struct Case {
    const char* what;
    std::vector<std::string> answers;
    AgentState state;
  };
  const Case cases[] = {
      {"enabled", {kKnown, accountControl(R"({"text":"4096"})")}, AgentState::connected},
      {"disabled", {kKnown, accountControl(R"({"text":"4098"})")}, AgentState::objectDisabled},
      {"flags without value", {kKnown, accountControl("")}, AgentState::connected},
      {"no number", {kKnown, accountControl(R"({"text":"on"})")}, AgentState::unavailable},
      {"no attributes", {kKnown, computer("")}, AgentState::objectDeleted},
      {"no object", {kKnown, R"({"parameters":{}})" + "\0"s}, AgentState::objectDeleted},
      {"closes before the object", {kKnown}, AgentState::disconnected},
      {"answers with junk", {kKnown, "junk\0"s}, AgentState::disconnected},
      {"closes before it knows the caller", {}, AgentState::unavailable},
  };
  for (const Case& row : cases) EXPECT_EQ(probeDaemon(row.answers), row.state) << row.what;
  for (const char* sid : {"", "S-1-x"}) {  // not taken for a dead daemon
    directory_.write("kset.hostsid", sid);
    EXPECT_EQ(probeDaemon({kKnown}), AgentState::unavailable) << sid;
  }
  std::filesystem::remove(directory_.path("kset.hostsid"));
  std::filesystem::create_directory(directory_.path("kset.hostsid"));  // cannot be read
  directory_.write("velkd.lock", "");
  const ChildProcess holder([&] { takeRecordLock(lockPath_); });
  (void)tolk::takeTroubles();
  EXPECT_EQ(probeDaemon({kKnown}), AgentState::unavailable) << "the daemon was reached";
  EXPECT_THAT(tolk::takeTroubles(), testing::ElementsAre(testing::HasSubstr("kset.hostsid")));
}

TEST_F(AgentStateProbe, LockTellsStartingFromDown) {
  EXPECT_EQ(probe(), AgentState::down) << "no lock file";
  EXPECT_FALSE(std::filesystem::exists(lockPath_));
  directory_.write("velkd.lock", "");
  EXPECT_EQ(probe(), AgentState::down) << "free lock file";
  const ChildProcess holder([&] { takeRecordLock(lockPath_); });
  EXPECT_EQ(probe(), AgentState::starting);
  lockPath_ = "/dev/null/velkd.lock";
  EXPECT_EQ(probe(), AgentState::lockUnexaminable);
}

TEST(AgentStateName, HasFourWords) {
  const char* const names[] = {"connected",     "disconnected", "starting",     "down",
                               "<unavailable>", "disconnected", "disconnected", "<unavailable>"};
  for (int value = 0; value < 8; ++value) {
    EXPECT_EQ(agentStateName(static_cast<AgentState>(value)), names[value]) << value;
  }
}

}  // namespace
}  // namespace joinscope
