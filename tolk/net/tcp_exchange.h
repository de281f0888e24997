// One question and its answer over a TCP connection of its own, all under one limit.
#pragma once

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tolk/net/limits.h"
#include "tolk/net/operation.h"
#include "tolk/net/sockets.h"

namespace tolk {

/// Connects, sends the request and hands all that has come to accept() until that takes it.
template <typename T>
class TcpExchange : public Task<T> {
 public:
  using Clock = Operation::Clock;

  TcpExchange(EventLoop& loop, const sockaddr_in& address, std::string request,
              std::chrono::milliseconds limit)
      : Task<T>(loop, Clock::now() + limit),
        address_(address),
        request_(std::move(request)),
        limit_(limit) {}

 protected:
  /// The result when `received`, all that the server has sent, is complete. May throw to fail.
  virtual std::optional<T> accept(std::string_view received) = 0;
  /// Finishes or throws for an errno: ECONNRESET also when the server has closed the connection,
  /// ETIME when the limit has passed.
  virtual void fail(int error) = 0;

  /// What fail() is about, in words; `answer` is the kind that is waited for.
  [[nodiscard]] std::string describe(int error, const std::string& answer) const {
    if (error == ETIME) {
      return addressText(address_) +
             (connected_ ? " gave no " + answer : std::string(" did not accept a connection")) +
             " within " + limitText(limit_);
    }
    if (error == ECONNRESET && connected_) {
      return addressText(address_) + " closed the connection without an " + answer;
    }
    return failureText(address_, error);
  }
  [[nodiscard]] const sockaddr_in& address() const noexcept { return address_; }

 private:
  void watch(std::vector<pollfd>& out) override {
    if (!socket_) return;
    const bool sending = !connected_ || sent_ < request_.size();
    out.push_back({socket_.get(), sending ? short{POLLOUT} : short{POLLIN}, 0});
  }
  Clock::time_point wakeAt() override {
    return socket_ ? Clock::time_point::max() : Clock::time_point::min();
  }

  void advance(std::span<const pollfd> ready) override {
    if (!socket_) return connect();
    if (ready.empty()) return;
    if (!connected_) {
      if (const int error = connectError(socket_.get()); error != 0) return fail(error);
      connected_ = true;
    }
    if (sent_ < request_.size()) return send();
    receive();
  }
  void expire() override { fail(ETIME); }

  void connect() {
    int error = 0;
    socket_ = beginConnect(address_, error);
    if (error != 0 && error != EINPROGRESS) fail(error);
  }

  void send() {
    const ssize_t size =
        ::send(socket_.get(), request_.data() + sent_, request_.size() - sent_, MSG_NOSIGNAL);
    if (size < 0) return failUnlessLater();
    sent_ += static_cast<std::size_t>(size);
  }

  void receive() {
    std::array<char, 4096> piece;
    const ssize_t size = ::recv(socket_.get(), piece.data(), piece.size(), 0);
    if (size < 0) return failUnlessLater();
    if (size == 0) return fail(ECONNRESET);
    received_.append(piece.data(), static_cast<std::size_t>(size));
    if (auto value = accept(received_)) this->finish(std::move(*value));
  }

  void failUnlessLater() {
    if (errno != EAGAIN && errno != EINTR) fail(errno);
  }

  sockaddr_in address_;
  std::string request_;
  std::chrono::milliseconds limit_;
  UniqueFd socket_;
  bool connected_ = false;
  std::size_t sent_ = 0;
  std::string received_;
};

}  // namespace tolk
