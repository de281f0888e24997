// One question and its answer over UDP: asked again each second, datagrams that are no answer
// ignored.
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

#include "tolk/base/exceptions.h"
#include "tolk/net/limits.h"
#include "tolk/net/operation.h"
#include "tolk/net/sockets.h"

namespace tolk {

/// Ends with the first datagram that accept() takes. Fails with TimeoutException at the limit or
/// when there is no way to the peer, with IOException when nobody listens there (ECONNREFUSED).
template <typename T>
class UdpExchange : public Task<T> {
 public:
  using Clock = Operation::Clock;

  /// `limitKey` names the property behind `limit` in the message of a time-out; may be empty.
  UdpExchange(EventLoop& loop, const sockaddr_in& address, std::string request,
              std::chrono::milliseconds limit, std::string_view limitKey)
      : Task<T>(loop, Clock::now() + limit),
        address_(address),
        request_(std::move(request)),
        limit_(limit),
        limitKey_(limitKey) {}

 protected:
  /// The result when the datagram completes the answer. May throw to fail.
  virtual std::optional<T> accept(std::string_view datagram) = 0;
  [[nodiscard]] const sockaddr_in& address() const noexcept { return address_; }
  /// The time since the question was sent for the last time.
  [[nodiscard]] Clock::duration sinceSent() const { return Clock::now() - (nextSend_ - kRepeat); }

 private:
  static constexpr std::chrono::seconds kRepeat{1};
  static constexpr int kBatch = 32;  // a flood on one socket must not starve the others

  void watch(std::vector<pollfd>& out) override {
    if (socket_) out.push_back({socket_.get(), POLLIN, 0});
  }
  Clock::time_point wakeAt() override { return nextSend_; }

  void advance(std::span<const pollfd> ready) override {
    if (!socket_) socket_ = openUdp(address_);
    if (!ready.empty() && receive()) return;
    if (Clock::now() >= nextSend_) send();
  }

  // What the kernel cannot take now, or this host's own firewall drops (EPERM), is one more
  // datagram that was lost.
  void send() {
    const bool lost = ::send(socket_.get(), request_.data(), request_.size(), MSG_NOSIGNAL) < 0;
    if (lost && errno != EAGAIN && errno != EINTR && errno != ENOBUFS && errno != EPERM) {
      throwUnreachable(address_, errno);
    }
    nextSend_ = Clock::now() + kRepeat;
  }

  bool receive() {
    std::array<char, 65536> datagram;
    for (int turn = 0; turn < kBatch; ++turn) {
      const ssize_t size = ::recv(socket_.get(), datagram.data(), datagram.size(), 0);
      if (size < 0) {
        if (errno == EAGAIN || errno == EINTR) return false;
        throwUnreachable(address_, errno);
      }
      if (auto value = accept({datagram.data(), static_cast<std::size_t>(size)})) {
        this->finish(std::move(*value));
        return true;
      }
    }
    return false;
  }

  void expire() override {
    throw TimeoutException(addressText(address_) + " did not answer within " + limitText(limit_) +
                               (limitKey_.empty() ? "" : " (" + limitKey_ + ")"),
                           ETIMEDOUT);
  }

  sockaddr_in address_;
  std::string request_;
  std::chrono::milliseconds limit_;
  std::string limitKey_;
  UniqueFd socket_;
  Clock::time_point nextSend_ = Clock::time_point::min();
};

}  // namespace tolk
