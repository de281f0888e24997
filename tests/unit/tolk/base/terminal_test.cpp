// The password prompt on a real pseudo terminal: what is echoed, what is restored, what a signal
// leaves behind.
#include "tolk/base/terminal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <string>

namespace {

using testing::HasSubstr;

constexpr const char* kPrompt = "Password: ";

// Reads from `fd` until `text` came or nothing follows any more.
std::string readUntil(int fd, const std::string& text) {
  constexpr int kGuardMs = 20000;  // only a broken program meets it
  std::string all;
  while (all.find(text) == std::string::npos) {
    pollfd one{fd, POLLIN, 0};
    char bytes[512];
    if (::poll(&one, 1, kGuardMs) <= 0) break;
    const ssize_t got = ::read(fd, bytes, sizeof bytes);
    if (got <= 0) break;
    all.append(bytes, static_cast<std::size_t>(got));
  }
  return all;
}

void report(int fd, const std::string& text) {
  (void)!::write(fd, text.data(), text.size());
}

// A child on a terminal of its own, which reports over a pipe.
class TerminalChild {
 public:
  explicit TerminalChild(const std::function<void(int report)>& work) {
    int ends[2];
    if (::pipe(ends) != 0) return;
    pid_ = ::forkpty(&master_, nullptr, nullptr, nullptr);
    if (pid_ == 0) {
      ::close(ends[0]);
      work(ends[1]);
      ::_exit(0);
    }
    ::close(ends[1]);
    report_ = ends[0];
  }
  TerminalChild(const TerminalChild&) = delete;
  TerminalChild& operator=(const TerminalChild&) = delete;
  ~TerminalChild() {
    ::close(master_);
    ::close(report_);
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
  }

  [[nodiscard]] bool echoes() const {
    termios state{};
    EXPECT_EQ(::tcgetattr(master_, &state), 0);
    return (state.c_lflag & ECHO) != 0;
  }
  void type(const std::string& text) const { report(master_, text); }
  [[nodiscard]] std::string screenUntil(const std::string& text) const {
    return readUntil(master_, text);
  }
  [[nodiscard]] std::string reportUntil(const std::string& text) const {
    return readUntil(report_, text);
  }
  int wait() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return status;
  }

 private:
  int master_ = -1;
  int report_ = -1;
  pid_t pid_ = -1;
};

void answerPrompt(int fd) {
  report(fd, "<" + std::string(orv_getpass(kPrompt)) + ">");
}

TEST(Terminal, LineIsReadWithoutEchoAndWhatNoPasswordCanBeIsEmpty) {
  const std::string longest(1024, 'x');
  const std::pair<std::string, std::string> rows[] = {{"pa ss\xC3\xA9\n", "pa ss\xC3\xA9"},
                                                      {"\x04", ""},  // end of input
                                                      {"\n", ""},
                                                      {longest + "\n", longest},
                                                      {longest + "x\n", ""}};
  for (const auto& [typed, password] : rows) {
    TerminalChild child(answerPrompt);
    EXPECT_THAT(child.screenUntil(kPrompt), HasSubstr(kPrompt));
    EXPECT_FALSE(child.echoes());
    child.type(typed);
    EXPECT_EQ(child.reportUntil(">"), "<" + password + ">");
    EXPECT_TRUE(child.echoes());
    EXPECT_EQ(child.screenUntil("\n"), "\r\n");
  }
}

TEST(Terminal, InterruptEndsTheProgramAndRestoresTheEcho) {
  TerminalChild child(answerPrompt);
  (void)child.screenUntil(kPrompt);
  child.type("half\x03");
  EXPECT_EQ(child.reportUntil(">"), "");
  EXPECT_TRUE(child.echoes());
  const int status = child.wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
}

// The session's leader does what a shell does: runs the prompt as a job, sees it stop and puts it
// into the foreground again.
void runAsJob(int fd) {
  ::signal(SIGTTOU, SIG_IGN);
  const pid_t job = ::fork();
  if (job == 0) {
    ::setpgid(0, 0);
    ::tcsetpgrp(STDIN_FILENO, ::getpid());
    ::signal(SIGTTOU, SIG_DFL);
    answerPrompt(fd);
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(job, &status, WUNTRACED);
  termios state{};
  const bool echo = ::tcgetattr(STDIN_FILENO, &state) == 0 && (state.c_lflag & ECHO) != 0;
  report(fd, WIFSTOPPED(status) && echo ? "stopped with echo," : "wrong,");
  ::tcsetpgrp(STDIN_FILENO, job);
  ::kill(-job, SIGCONT);
  ::waitpid(job, &status, 0);
}

TEST(Terminal, StoppedProgramHasItsEchoAndAsksAnewWhenItGoesOn) {
  TerminalChild child(runAsJob);
  (void)child.screenUntil(kPrompt);
  child.type("half\x1a");
  EXPECT_EQ(child.reportUntil(","), "stopped with echo,");
  EXPECT_THAT(child.screenUntil(kPrompt), HasSubstr(kPrompt));
  EXPECT_FALSE(child.echoes());
  child.type("whole\n");
  EXPECT_EQ(child.reportUntil(">"), "<whole>");
}

TEST(Terminal, PromptsBufferIsWipedAfterThePassword) {
  TerminalChild child([](int fd) {
    const char* buffer = orv_getpass("First: ");  // static, the same for every prompt
    const tolk::Shredder password = tolk::promptPassword("Second: ");
    const bool wiped = std::all_of(buffer, buffer + 16, [](char c) { return c == '\0'; });
    report(fd, std::string(password.view()) + (wiped ? ",wiped." : ",left."));
  });
  (void)child.screenUntil("First: ");
  child.type("one\n");
  (void)child.screenUntil("Second: ");
  child.type("secret\n");
  EXPECT_EQ(child.reportUntil("."), "secret,wiped.");
}

}  // namespace
