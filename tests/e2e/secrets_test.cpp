// A password leaves no trace: not in the argument vector, not in memory after the bind, not in a
// log, not in a core file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <array>
#include <csignal>
#include <optional>
#include <thread>

#include "tests/support/lab.h"
#include "tests/support/process.h"
#include "tests/support/unix_socket.h"

namespace joinscope::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kPassword = "Zq7-Findable-Marker-Pass1";

/// A log daemon on a host of the lab: collects what is sent to /dev/log.
class SystemLog {
 public:
  explicit SystemLog(const Host& host)
      : host_(host),
        socket_(unixSocket(::bind, "/proc/" + std::to_string(host.initProcess()) + "/root/dev/log",
                           SOCK_DGRAM)) {
    host_.must("chmod 666 /dev/log");
    reader_ = std::thread([this] { collect(); });
  }
  SystemLog(const SystemLog&) = delete;
  SystemLog& operator=(const SystemLog&) = delete;
  ~SystemLog() { (void)stop(); }

  /// All records that were sent; ends the daemon.
  std::string stop() {
    (void)host_.shell("rm -f /dev/log");
    if (!reader_.joinable()) return records_;
    ::shutdown(socket_.get(), SHUT_RD);
    reader_.join();
    return records_;
  }

 private:
  void collect() {
    std::array<char, 65536> record;
    for (ssize_t size = 0; (size = ::recv(socket_.get(), record.data(), record.size(), 0)) > 0;) {
      records_.append(record.data(), static_cast<std::size_t>(size)).append("\n");
    }
  }

  const Host& host_;
  tolk::UniqueFd socket_;
  std::string records_;
  std::thread reader_;
};

struct PasswordSource {
  const char* description;
  std::vector<std::string> arguments;
  std::string input;
};

class SecretsTest : public testing::Test {
 protected:
  Lab lab;
  HostChange user{lab.dc, std::string("samba-tool user create e2e.secret '") + kPassword + "'",
                  "samba-tool user delete e2e.secret"};
};

/// A round trip of 60 ms to the controller: holds a run long enough to be looked into.
class SlowNetwork {
 public:
  SlowNetwork() { Lab::command({"scenario", "delay", "60"}); }
  SlowNetwork(const SlowNetwork&) = delete;
  SlowNetwork& operator=(const SlowNetwork&) = delete;
  ~SlowNetwork() { Lab::command({"scenario", "delay", "0"}); }
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
  const SlowNetwork slow;
  for (const PasswordSource& source : sources) {
    SCOPED_TRACE(source.description);
    SystemLog log(lab.guest);
    std::vector<std::string> arguments{joinscopeBinary(), "-V", "-g",
                                       "lab.test",        "-u", "e2e.secret"};
    arguments.insert(arguments.end(), source.arguments.begin(), source.arguments.end());
    RunningCommand running = lab.guest.start(arguments, {.input = source.input});

    ASSERT_TRUE(running.waitForError("Anonymous LDAP bind to "));
    const pid_t pid = findProcess("joinscope", lab.guest.initProcess());
    ASSERT_GT(pid, 0);
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
    const std::string records = log.stop();
    EXPECT_THAT(result.out, HasSubstr("  Site: ")) << "the bind has not worked";
    EXPECT_THAT(result.out + result.err, Not(HasSubstr("Findable")));
    EXPECT_THAT(records, HasSubstr("joinscope")) << "nothing was logged";
    EXPECT_THAT(records, Not(HasSubstr("Findable")));
    EXPECT_THAT(records, HasSubstr("Encrypted timestamp ("));
    EXPECT_THAT(records, Not(HasSubstr("LAB.TESTe2e.secret"))) << "the salt of the key";
  }
}

TEST_F(SecretsTest, RefusedPasswordIsInNoMessageAndNoLog) {
  SystemLog log(lab.guest);
  const CommandResult result =
      lab.guest.joinscope({"-V", "-g", "lab.test", "-u", "alice", "-p", kPassword});
  EXPECT_THAT(result.out, HasSubstr("Invalid username or password for user \"alice\""));
  EXPECT_THAT(result.out + result.err + log.stop(), Not(HasSubstr("Findable")));
}

TEST_F(SecretsTest, NothingIsWrittenToDisk) {
  lab.guest.must("touch /tmp/e2e.before");
  EXPECT_THAT(lab.guest.joinscope({"-g", "lab.test", "-u", "e2e.secret", "-p", kPassword}).out,
              HasSubstr("  Site: "));
  EXPECT_EQ(
      lab.guest.must("find /etc /var/tmp /tmp /run /dev/shm /home -newer /tmp/e2e.before -type f"),
      "");
}

TEST_F(SecretsTest, AFactsFileHoldsNeitherPasswordNorKey) {
  const std::string program = joinscopeBinary();
  const std::string joincheck = program.substr(0, program.rfind('/')) + "/joincheck";
  lab.member.must("printf '%s\\n' '" + std::string(kPassword) + "' | " + joincheck +
                  " -u e2e.secret --only krb.user --save /tmp/facts.json");
  EXPECT_EQ(lab.member.must("stat -c %a /tmp/facts.json"), "600\n");
  // Every key as klist shows it, to see that there are some, and in the facts.
  const std::string keys = "klist -keK | sed -n 's/.*(0x\\(.*\\))$/\\1/p'";
  EXPECT_NE(lab.member.must(keys), "");
  EXPECT_EQ(lab.member.must(keys + " | grep -ioFf - /tmp/facts.json || true"), "");
  EXPECT_THAT(lab.member.must("cat /tmp/facts.json; rm /tmp/facts.json"),
              testing::AllOf(HasSubstr("e2e.secret"), Not(HasSubstr(kPassword))));
}

}  // namespace
}  // namespace joinscope::test
