// The state probe against a daemon on a real socket that answers well, badly or not at all, and
// against real locks.
#include "cli/common/agent_state.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/handle.h"
#include "tolk/base/join_settings.h"

namespace joinscope {
namespace {

const std::string kKnown = R"({"parameters":{"uid":0}})";  // the answer to Authenticate
const std::string kNothing = R"({"parameters":{}})";

// Serves one connection: an answer a call, then it closes.
class Daemon {
 public:
  Daemon(const std::string& path, std::vector<std::string> answers)
      : listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), answers_(std::move(answers)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (::bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_.get(), 5) != 0) {
      ADD_FAILURE() << "cannot listen at " << path;
    }
    thread_ = std::thread([this] { serve(); });
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;
  ~Daemon() {
    ::shutdown(listener_.get(), SHUT_RDWR);
    thread_.join();
  }

 private:
  void serve() {
    const tolk::UniqueFd client(::accept(listener_.get(), nullptr, nullptr));
    for (const std::string& answer : answers_) {
      char byte = 1;
      while (::recv(client.get(), &byte, 1, 0) == 1 && byte != 0) {
      }
      ::send(client.get(), answer.c_str(), answer.size() + 1, MSG_NOSIGNAL);
    }
  }

  tolk::UniqueFd listener_;
  std::vector<std::string> answers_;
  std::thread thread_;
};

// Another process that holds the record lock of a file.
class LockHolder {
 public:
  explicit LockHolder(const std::string& path) {
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      struct flock lock {};
      lock.l_type = F_WRLCK;
      lock.l_whence = SEEK_SET;
      const bool held = ::fcntl(::open(path.c_str(), O_RDWR), F_SETLK, &lock) == 0;
      if (held && ::write(ready[1], "x", 1) == 1) ::pause();
      ::_exit(1);
    }
    ::close(ready[1]);
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
  }
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;
  ~LockHolder() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }

 private:
  pid_t pid_ = -1;
};

class AgentStateProbe : public testing::Test {
 protected:
  void SetUp() override { directory_.write("kset.hostsid", "S-1-5-21-1-2-3-1104\n"); }

  AgentState probe() {
    return agentStateAt(tolk::JoinSettings(directory_.path()), directory_.path().c_str(),
                        lockPath_.c_str());
  }
  AgentState probeDaemon(std::vector<std::string> answers) {
    const Daemon daemon(directory_.path("velkd.sock"), std::move(answers));
    const AgentState state = probe();
    std::filesystem::remove(directory_.path("velkd.sock"));
    return state;
  }

  ScratchDirectory directory_;
  std::string lockPath_ = directory_.path("velkd.lock");
};

std::string computer(const std::string& attributes) {
  return R"({"parameters":{"object":{"dn":"CN=host1","attributes":[)" + attributes + "]}}}";
}

std::string accountControl(const std::string& values) {
  return computer(R"({"name":"userAccountControl","values":[)" + values + "]}");
}

TEST_F(AgentStateProbe, DaemonsAnswerDecides) {
  struct Case {
    const char* what;
    std::vector<std::string> answers;
    AgentState state;
  };
  const std::vector<Case> cases{
      {"enabled", {kKnown, accountControl(R"({"text":"4096"})")}, AgentState::connected},
      {"disabled", {kKnown, accountControl(R"({"text":"4098"})")}, AgentState::objectDisabled},
      {"no flags",
       {kKnown, computer(R"({"name":"cn","values":[{"text":"x"}]})")},
       AgentState::connected},
      {"flags without value", {kKnown, accountControl("")}, AgentState::connected},
      {"flags are no number",
       {kKnown, accountControl(R"({"text":"on"})")},
       AgentState::unavailable},
      {"no attributes", {kKnown, computer("")}, AgentState::objectDeleted},
      {"no object", {kKnown, kNothing}, AgentState::objectDeleted},
      {"closes before the object", {kKnown}, AgentState::disconnected},
      {"answers with an error",
       {kKnown, R"({"error":"org.orvald.velkd.DirectoryFailed","parameters":{}})"},
       AgentState::disconnected},
      {"answers with junk", {kKnown, "junk"}, AgentState::disconnected},
      {"closes before it knows the caller", {}, AgentState::unavailable},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(probeDaemon(row.answers), row.state);
  }
}

TEST_F(AgentStateProbe, MissingHostSidIsNotTakenForADeadDaemon) {
  directory_.write("kset.hostsid", "");
  EXPECT_EQ(probeDaemon({kKnown}), AgentState::unavailable);
  directory_.write("kset.hostsid", "S-1-x");
  EXPECT_EQ(probeDaemon({kKnown}), AgentState::unavailable);
}

TEST_F(AgentStateProbe, LockTellsStartingFromDown) {
  EXPECT_EQ(probe(), AgentState::down) << "no lock file";
  EXPECT_FALSE(std::filesystem::exists(lockPath_));
  directory_.write("velkd.lock", "");
  EXPECT_EQ(probe(), AgentState::down) << "free lock file";
  {
    const LockHolder holder(lockPath_);  // also shows that the probe has given the lock back
    EXPECT_EQ(probe(), AgentState::starting);
  }
  EXPECT_EQ(probe(), AgentState::down);
  lockPath_ = "/dev/null/velkd.lock";
  EXPECT_EQ(probe(), AgentState::lockUnexaminable);
}

TEST(AgentStateName, HasFourWords) {
  const std::array<const char*, 9> names{"connected",    "disconnected",  "starting",
                                         "down",         "<unavailable>", "disconnected",
                                         "disconnected", "<unavailable>", "<unavailable>"};
  for (std::size_t value = 0; value < names.size(); ++value) {
    EXPECT_EQ(agentStateName(static_cast<AgentState>(value)), names[value]) << value;
  }
  EXPECT_EQ(agentStateName(static_cast<AgentState>(-1)), "<unavailable>");
}

}  // namespace
}  // namespace joinscope
