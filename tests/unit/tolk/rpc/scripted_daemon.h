// A daemon on a real socket that answers as a test says.
#pragma once

#include <string>
#include <thread>
#include <vector>

#include "tests/support/unix_socket.h"

namespace tolk::test {

/// Serves one connection on a thread of its own: to each call the next answer, as raw bytes; after
/// the last one it closes.
class ScriptedDaemon {
 public:
  ScriptedDaemon(const std::string& path, std::vector<std::string> answers)
      : listener_(joinscope::test::listenAt(path)),
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
