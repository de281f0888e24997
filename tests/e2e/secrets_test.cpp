// A password leaves no trace: not in the argument vector, not in memory after the bind, not in a
// log, not in a core file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <csignal>

#include "tests/support/lab.h"
#include "tests/support/process.h"

namespace joinscope::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kPassword = "Zq7-Findable-Marker-Pass1";

/// A syslog daemon's socket on a host of the lab, /dev/log.
class SystemLog {
 public:
  explicit SystemLog(const Host& host)
      : host_(host), socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    const std::string path = "/proc/" + std::to_string(host.initProcess()) + "/root/dev/log";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("cannot make " + path);
    }
    host_.must("chmod 666 /dev/log");
  }
  SystemLog(const SystemLog&) = delete;
  SystemLog& operator=(const SystemLog&) = delete;
  ~SystemLog() { (void)host_.shell("rm -f /dev/log"); }

  /// What has arrived since the last call. Called often enough that no sender waits.
  std::string read() const {
    std::string text;
    std::array<char, 65536> record;
    for (ssize_t size = 0; (size = ::recv(socket_.get(), record.data(), record.size(), 0)) > 0;) {
      text.append(record.data(), static_cast<std::size_t>(size)).append("\n");
    }
    return text;
  }

 private:
  const Host& host_;
  tolk::UniqueFd socket_;
};

struct PasswordSource {
  const char* description;
  std::vector<std::string> arguments;
  std::string input;
};

class SecretsTest : public testing::Test {
 protected:
  void SetUp() override {
    lab.dc.must(std::string("samba-tool user create e2e.secret '") + kPassword + "'");
    Lab::command({"scenario", "delay", "60"});  // holds a run long enough to be looked into
  }
  void TearDown() override {
    Lab::command({"scenario", "delay", "0"});
    lab.dc.must("samba-tool user delete e2e.secret");
  }

  Lab lab;
};

/// Stops the process at a point of its run, for a look into it.
class Halted {
 public:
  explicit Halted(pid_t pid) : pid_(pid) { ::kill(pid_, SIGSTOP); }
  Halted(const Halted&) = delete;
  Halted& operator=(const Halted&) = delete;
  ~Halted() { ::kill(pid_, SIGCONT); }

 private:
  pid_t pid_;
};

TEST_F(SecretsTest, PasswordIsGoneFromMemoryOnceTheBindIsDone) {
  const PasswordSource sources[] = {
      {"on the command line", {"-p", kPassword}, ""},
      {"at the prompt", {}, std::string(kPassword) + "\n"},
  };
  for (const PasswordSource& source : sources) {
    SCOPED_TRACE(source.description);
    const SystemLog log(lab.guest);
    std::vector<std::string> arguments{joinscopeBinary(), "-V", "-g",
                                       "lab.test",        "-u", "e2e.secret"};
    arguments.insert(arguments.end(), source.arguments.begin(), source.arguments.end());
    RunningCommand running = lab.guest.start(arguments, {.input = source.input});

    ASSERT_TRUE(running.waitForError("Anonymous LDAP bind to "));
    const pid_t pid = findProcess("joinscope", lab.guest.initProcess());
    ASSERT_GT(pid, 0);
    std::string records = log.read();
    {
      const Halted halted(pid);
      EXPECT_GT(countInMemory(pid, kPassword), 0U) << "before the bind it must be there";
      EXPECT_THAT(processFile(pid, "cmdline"), Not(HasSubstr("Findable")));
      EXPECT_THAT(processFile(pid, "limits"), testing::ContainsRegex("Max core file size +0 +0 "));
    }
    ASSERT_TRUE(running.waitForError("Retrieving subnet objects from "));
    {
      const Halted halted(pid);
      EXPECT_EQ(countInMemory(pid, kPassword), 0U);
    }
    const CommandResult result = running.wait();
    records += log.read();
    EXPECT_THAT(result.out, HasSubstr("  Site: ")) << "the bind has not worked";
    EXPECT_THAT(result.out + result.err, Not(HasSubstr("Findable")));
    EXPECT_THAT(records, HasSubstr("joinscope")) << "nothing was logged";
    EXPECT_THAT(records, Not(HasSubstr("Findable")));
  }
}

TEST_F(SecretsTest, RefusedPasswordIsInNoMessageAndNoLog) {
  const SystemLog log(lab.guest);
  const CommandResult result =
      lab.guest.joinscope({"-V", "-g", "lab.test", "-u", "alice", "-p", kPassword});
  EXPECT_THAT(result.out, HasSubstr("Invalid username or password for user \"alice\""));
  EXPECT_THAT(result.out + result.err + log.read(), Not(HasSubstr("Findable")));
}

TEST_F(SecretsTest, NothingIsWrittenToDisk) {
  lab.guest.must("touch /tmp/e2e.before");
  EXPECT_THAT(lab.guest.joinscope({"-g", "lab.test", "-u", "e2e.secret", "-p", kPassword}).out,
              HasSubstr("  Site: "));
  EXPECT_EQ(lab.guest.must("find / -xdev -newer /tmp/e2e.before -type f -not -path '/proc/*'"), "");
}

}  // namespace
}  // namespace joinscope::test
