// TCP connections: the connect probe, and a connection to the first of several addresses that
// accepts.
#include <poll.h>

#include <cerrno>

#include <algorithm>

#include "tolk/base/exceptions.h"
#include "tolk/net/probes.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

int connectResult(int error) {
  if (error == 0) return ConnectResult::kConnected;
  return error == ECONNREFUSED ? ConnectResult::kRefused : ConnectResult::kTimeout;
}

std::string notAccepted(const sockaddr_in& address, std::chrono::milliseconds limit) {
  return addressText(address) + " did not accept a connection within " + limitText(limit);
}

class ConnectProbe final : public Task<ProbeOutcome> {
 public:
  ConnectProbe(EventLoop& loop, const sockaddr_in& address, std::chrono::milliseconds limit)
      : Task(loop, Clock::now() + limit), address_(address), limit_(limit) {
    int error = 0;
    socket_ = beginConnect(address, error);
    if (error != EINPROGRESS) conclude(error);
  }

 private:
  void watch(std::vector<pollfd>& out) override { out.push_back({socket_.get(), POLLOUT, 0}); }
  void advance(std::span<const pollfd> /*ready*/) override {
    conclude(connectError(socket_.get()));
  }
  void expire() override {
    finish({ConnectResult::kTimeout, ETIME, notAccepted(address_, limit_)});
  }
  void conclude(int error) {
    finish({connectResult(error), error, error == 0 ? "" : failureText(address_, error)});
  }

  sockaddr_in address_;
  std::chrono::milliseconds limit_;
  UniqueFd socket_;
};

class TcpConnect final : public Task<UniqueFd> {
 public:
  TcpConnect(EventLoop& loop, std::vector<sockaddr_in> addresses, std::chrono::milliseconds limit)
      : Task(loop, Clock::now() + limit), addresses_(std::move(addresses)), limit_(limit) {}

 private:
  // RFC 8305, 5: the recommended delay between attempts.
  static constexpr std::chrono::milliseconds kStagger{250};

  void watch(std::vector<pollfd>& out) override {
    for (const UniqueFd& attempt : attempts_) out.push_back({attempt.get(), POLLOUT, 0});
  }
  Clock::time_point wakeAt() override { return nextStart_; }

  void advance(std::span<const pollfd> ready) override {
    for (const pollfd& descriptor : ready) {
      if (settle(descriptor.fd)) return;
    }
    while (next_ < addresses_.size() && (attempts_.empty() || Clock::now() >= nextStart_)) {
      if (startNext()) return;
    }
    if (next_ == addresses_.size()) nextStart_ = Clock::time_point::max();
    if (attempts_.empty()) fail();
  }

  // Each returns whether the task is done.
  bool settle(int fd) {
    const auto attempt = std::find_if(attempts_.begin(), attempts_.end(),
                                      [fd](const UniqueFd& a) { return a.get() == fd; });
    if (const int error = connectError(fd); error != 0) {
      lastError_ = error;
      attempts_.erase(attempt);
      return false;
    }
    finish(std::move(*attempt));
    attempts_.clear();
    return true;
  }

  bool startNext() {
    int error = 0;
    UniqueFd socket = beginConnect(addresses_[next_++], error);
    nextStart_ = Clock::now() + kStagger;
    if (error == 0) {
      finish(std::move(socket));
      attempts_.clear();
      return true;
    }
    if (error == EINPROGRESS) {
      attempts_.push_back(std::move(socket));
    } else {
      lastError_ = error;
    }
    return false;
  }

  [[noreturn]] void fail() const {
    if (addresses_.empty()) throw IOException("No address to connect to", EDESTADDRREQ);
    throwUnreachable(addresses_.back(), lastError_);
  }

  void expire() override {
    throw TimeoutException(notAccepted(addresses_.front(), limit_), ETIMEDOUT);
  }

  std::vector<sockaddr_in> addresses_;
  std::chrono::milliseconds limit_;
  std::size_t next_ = 0;  // of addresses_, not yet tried
  Clock::time_point nextStart_ = Clock::time_point::min();
  std::vector<UniqueFd> attempts_;
  int lastError_ = 0;
};

}  // namespace

Pending<ProbeOutcome> startConnectProbe(EventLoop& loop, const sockaddr_in& address,
                                        std::chrono::milliseconds limit) {
  return startTask<ConnectProbe>(loop, address, limit);
}

Pending<UniqueFd> startTcpConnect(EventLoop& loop, std::vector<sockaddr_in> addresses,
                                  std::chrono::milliseconds limit) {
  return startTask<TcpConnect>(loop, std::move(addresses), limit);
}

int TestConnect(sockaddr_in& address) {
  EventLoop loop;
  return startConnectProbe(loop, address).wait().result;
}

}  // namespace tolk
