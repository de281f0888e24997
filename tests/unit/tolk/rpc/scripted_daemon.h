// A daemon on a real socket that answers as a test says.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <string>
#include <thread>
#include <vector>

#include "tolk/base/handle.h"

namespace tolk::test {

/// A listening socket at `path`: the system accepts `backlog` connections, nobody answers them.
inline UniqueFd listenAt(const std::string& path, int backlog = 5) {
  UniqueFd listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  EXPECT_EQ(::bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(::listen(listener.get(), backlog), 0);
  return listener;
}

/// Serves one connection on a thread of its own: to each call the next answer, as raw bytes; after
/// the last one it closes.
class ScriptedDaemon {
 public:
  ScriptedDaemon(const std::string& path, std::vector<std::string> answers)
      : listener_(listenAt(path)),
        thread_([this, answers = std::move(answers)] { serve(answers); }) {}
  ScriptedDaemon(const ScriptedDaemon&) = delete;
  ScriptedDaemon& operator=(const ScriptedDaemon&) = delete;
  ~ScriptedDaemon() { (void)calls(); }

  /// The calls that came; ends the daemon.
  const std::vector<std::string>& calls() {
    ::shutdown(listener_.get(), SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    return calls_;
  }

 private:
  void serve(const std::vector<std::string>& answers) {
    const UniqueFd client(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    for (const std::string& answer : answers) {
      std::string call;
      char byte = 0;
      while (::recv(client.get(), &byte, 1, 0) == 1 && byte != '\0') call += byte;
      calls_.push_back(call);
      ::send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
    }
  }

  UniqueFd listener_;
  std::vector<std::string> calls_;
  std::thread thread_;
};

}  // namespace tolk::test
