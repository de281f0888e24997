// An HTTP server that plays bytes as they stand, for what no proper server would send.
#pragma once

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tolk/base/handle.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk::test {

/// Serves one connection at a time from construction to destruction.
class RawHttpServer {
 public:
  /// One answer to one request.
  struct Answer {
    std::string bytes;
    bool endless = false;  ///< the last KiB again and again, until the client has enough
    bool close = false;    ///< the connection ends behind it
    bool silent = false;   ///< nothing at all until the server ends
  };

  explicit RawHttpServer(std::deque<Answer> answers) : answers_(std::move(answers)) {
    Props().set(PN::CLOUD_ALLOW_HTTP, "true");
    socket_.reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* raw = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket_.get(), raw, size) != 0 || ::listen(socket_.get(), 16) != 0) std::abort();
    (void)::getsockname(socket_.get(), raw, &size);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  RawHttpServer(const RawHttpServer&) = delete;
  RawHttpServer& operator=(const RawHttpServer&) = delete;
  ~RawHttpServer() {
    ending_ = true;
    thread_.join();
  }

  [[nodiscard]] std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  [[nodiscard]] std::string url(const std::string& path = "/") const {
    return "http://" + address() + path;
  }
  /// The requests so far, headers and body.
  [[nodiscard]] std::vector<std::string> requests() const {
    const std::lock_guard guard(lock_);
    return requests_;
  }
  [[nodiscard]] int connections() const { return connections_; }

  /// Site checks that succeed, each with a code of its own.
  static std::deque<Answer> siteChecks(int count) {
    std::deque<Answer> answers;
    for (int i = 0; i < count; ++i) {
      answers.push_back(
          ok("<p>{\"result\":\"success\",\"otc\":\"a b" + std::to_string(i) + "\"}</p>"));
    }
    return answers;
  }
  /// A plain answer with a body.
  static Answer ok(const std::string& body, const std::string& headers = "") {
    return {.bytes = "HTTP/1.1 200 OK\r\n" + headers +
                     "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body};
  }

 private:
  bool readable(int fd) const {
    constexpr int kTickMs = 5;
    pollfd one{fd, POLLIN, 0};
    while (!ending_) {
      if (::poll(&one, 1, kTickMs) > 0) return true;
    }
    return false;
  }

  void serve() {
    while (readable(socket_.get())) {
      const UniqueFd client(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      ++connections_;
      while (readRequest(client.get()) && play(client.get())) {
      }
    }
  }

  bool readRequest(int fd) {
    std::string request;
    char buffer[4096];
    std::size_t wanted = std::string::npos;
    while (request.size() < wanted) {
      if (!readable(fd)) return false;
      const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
      if (got <= 0) return false;
      request.append(buffer, static_cast<std::size_t>(got));
      if (request[0] == '\x16') break;  // a TLS handshake has no end that is known here
      const std::size_t end = request.find("\r\n\r\n");
      if (end == std::string::npos) continue;
      const std::size_t length = request.find("Content-Length: ");
      wanted = end + 4 + (length < end ? std::stoul(request.substr(length + 16)) : 0);
    }
    const std::lock_guard guard(lock_);
    requests_.push_back(request);
    return true;
  }

  bool play(int fd) {
    Answer answer;
    {
      const std::lock_guard guard(lock_);
      if (answers_.empty()) return false;
      answer = answers_.front();
      answers_.pop_front();
    }
    if (answer.silent) return readable(fd);
    if (!send(fd, answer.bytes)) return false;
    const std::string more(1024, 'x');
    while (answer.endless && !ending_) {
      if (!send(fd, more)) return false;
    }
    return !answer.close;
  }

  static bool send(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t sent = ::send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
      if (sent <= 0) return false;
      done += static_cast<std::size_t>(sent);
    }
    return true;
  }

  UniqueFd socket_;
  int port_ = 0;
  mutable std::mutex lock_;
  std::deque<Answer> answers_;
  std::vector<std::string> requests_;
  std::atomic<int> connections_ = 0;
  std::atomic<bool> ending_ = false;
  std::thread thread_;  // last: it uses all the others
};

}  // namespace tolk::test
