// The password prompt on a real pseudo terminal: what is echoed, what is restored, what a signal
// leaves behind.
#include "tolk/base/terminal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
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

TEST(Terminal, PasswordIsReadWithoutEcho) {
  TerminalChild child(answerPrompt);
  EXPECT_THAT(child.screenUntil(kPrompt), HasSubstr(kPrompt));
  EXPECT_FALSE(child.echoes());
  child.type("pa ss\xC3\xA9\n");
  EXPECT_EQ(child.reportUntil(">"), "<pa ss\xC3\xA9>");
  EXPECT_TRUE(child.echoes());
  EXPECT_EQ(child.screenUntil("\n"), "\r\n");
}

TEST(Terminal, WhatNoPasswordCanBeIsAnEmptyAnswer) {
  struct Row {
    const char* about;
    std::string typed;
    std::string answer;
  };
  const Row rows[] = {
      {"end of input", "\x04", "<>"},
      {"empty line", "\n", "<>"},
      {"longest", std::string(1024, 'x') + "\n", "<" + std::string(1024, 'x') + ">"},
      {"too long", std::string(1025, 'x') + "\n", "<>"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.about);
    TerminalChild child(answerPrompt);
    (void)child.screenUntil(kPrompt);
    child.type(row.typed);
    EXPECT_EQ(child.reportUntil(">"), row.answer);
  }
}

TEST(Terminal, InterruptEndsTheProgramAndRestoresTheEcho) {
  const std::pair<const char*, int> rows[] = {{"\x03", SIGINT}, {"\x1c", SIGQUIT}};
  for (const auto& [key, signal] : rows) {
    TerminalChild child([](int fd) {
      const rlimit none{0, 0};
      ::setrlimit(RLIMIT_CORE, &none);
      answerPrompt(fd);
    });
    (void)child.screenUntil(kPrompt);
    child.type("half");
    child.type(key);
    EXPECT_EQ(child.reportUntil(">"), "");
    EXPECT_TRUE(child.echoes());
    const int status = child.wait();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
  }
}

volatile std::sig_atomic_t handled = 0;

TEST(Terminal, HandlerOfTheProgramRunsAfterTheEchoIsBack) {
  TerminalChild child([](int fd) {
    struct sigaction action {};
    action.sa_handler = [](int) {
      termios state{};
      handled = ::tcgetattr(STDIN_FILENO, &state) == 0 && (state.c_lflag & ECHO) != 0 ? 1 : 2;
    };
    ::sigaction(SIGINT, &action, nullptr);
    answerPrompt(fd);
    report(fd, std::to_string(handled) + ".");
  });
  (void)child.screenUntil(kPrompt);
  child.type("half\x03");
  EXPECT_EQ(child.reportUntil("."), "<>1.");
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

TEST(Terminal, WithoutATerminalStandardInputIsReadAndStandardErrorAsks) {
  int input[2];
  int errors[2];
  int answers[2];
  ASSERT_TRUE(::pipe(input) == 0 && ::pipe(errors) == 0 && ::pipe(answers) == 0);
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::setsid();
    ::dup2(input[0], STDIN_FILENO);
    ::dup2(errors[1], STDERR_FILENO);
    answerPrompt(answers[1]);
    ::_exit(0);
  }
  report(input[1], "piped\nrest");
  EXPECT_EQ(readUntil(answers[0], ">"), "<piped>");
  EXPECT_EQ(readUntil(errors[0], kPrompt), kPrompt);
  ::waitpid(pid, nullptr, 0);
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
