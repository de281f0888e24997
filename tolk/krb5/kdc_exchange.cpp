// All servers are tried in turn with a head start each, over TCP alone; the first that settles
// the question ends it for all.
#include "tolk/krb5/kdc_exchange.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/net/event_loop.h"

namespace tolk {
namespace {

constexpr std::size_t kLengthBytes = 4;
constexpr std::size_t kMaxReplyBytes = 1 << 20;

/// One connection to one server, from connect to the end of the reply.
class Attempt {
 public:
  enum class State { waiting, replied, failed };

  explicit Attempt(const sockaddr_in& address)
      : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    if (::connect(fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
        errno != EINPROGRESS)
      error_ = errno;
  }

  [[nodiscard]] int fd() const noexcept { return fd_.get(); }
  [[nodiscard]] int error() const noexcept { return error_; }
  [[nodiscard]] std::vector<char> takeReply() noexcept { return std::move(reply_); }
  [[nodiscard]] short events(std::size_t messageBytes) const noexcept {
    return sent_ < messageBytes ? POLLOUT : POLLIN;
  }

  /// Goes on without waiting.
  State advance(std::span<const char> message) {
    if (error_ == 0 && sent_ < message.size()) send(message);
    while (error_ == 0 && sent_ == message.size() && receive()) {
    }
    if (error_ != 0) return State::failed;
    return received_ == kLengthBytes + reply_.size() && received_ > kLengthBytes ? State::replied
                                                                                 : State::waiting;
  }

 private:
  void send(std::span<const char> message) noexcept {
    const ssize_t count =
        ::send(fd_.get(), message.data() + sent_, message.size() - sent_, MSG_NOSIGNAL);
    if (count >= 0)
      sent_ += static_cast<std::size_t>(count);
    else
      noteError();
  }

  /// Whether more may follow at once.
  bool receive() {
    const bool inReply = received_ >= kLengthBytes;
    char* const target =
        inReply ? reply_.data() + (received_ - kLengthBytes) : lengthText_ + received_;
    const std::size_t room = kLengthBytes + (inReply ? reply_.size() : 0) - received_;
    if (room == 0) return false;
    const ssize_t count = ::recv(fd_.get(), target, room, 0);
    if (count > 0)
      received_ += static_cast<std::size_t>(count);
    else if (count == 0)
      error_ = ECONNRESET;
    else
      noteError();
    if (count > 0 && received_ == kLengthBytes) sizeReply();
    return count > 0 && error_ == 0;
  }

  void sizeReply() {
    std::uint32_t length = 0;
    std::memcpy(&length, lengthText_, sizeof length);
    length = ntohl(length);
    if (length == 0 || length > kMaxReplyBytes)
      error_ = EPROTO;
    else
      reply_.resize(length);
  }

  void noteError() noexcept {
    if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) error_ = errno;
  }

  UniqueFd fd_;
  int error_ = 0;
  std::size_t sent_ = 0;
  std::size_t received_ = 0;
  char lengthText_[kLengthBytes] = {};
  std::vector<char> reply_;
};

/// All attempts of one exchange.
class KdcExchange final : public Task<std::vector<char>> {
 public:
  KdcExchange(EventLoop& loop, const KdcAddresses& addresses, std::span<const char> message,
              std::chrono::milliseconds limit, const KdcReplyCheck& settles)
      : Task(loop, Clock::now() + limit),
        addresses_(addresses),
        settles_(settles),
        stagger_(limit / 5),
        nextStart_(Clock::now()) {
    const std::uint32_t length = htonl(static_cast<std::uint32_t>(message.size()));
    message_.resize(kLengthBytes);
    std::memcpy(message_.data(), &length, sizeof length);
    message_.insert(message_.end(), message.begin(), message.end());
  }

 private:
  void watch(std::vector<pollfd>& out) override {
    for (const Attempt& attempt : attempts_)
      out.push_back({attempt.fd(), attempt.events(message_.size()), 0});
  }

  [[nodiscard]] Clock::time_point wakeAt() override {
    return next_ < addresses_.size() ? nextStart_ : Clock::time_point::max();
  }

  void advance(std::span<const pollfd> ready) override {
    for (const pollfd& event : ready) {
      const auto at = std::find_if(attempts_.begin(), attempts_.end(),
                                   [&event](const Attempt& a) { return a.fd() == event.fd; });
      if (at != attempts_.end()) step(at);
      if (done()) return;
    }
    while (next_ < addresses_.size() && (attempts_.empty() || Clock::now() >= nextStart_))
      startNext();
    if (attempts_.empty() && next_ == addresses_.size()) endWithoutAnswer();
  }

  void expire() override {
    if (secondBest_)
      finish(std::move(*secondBest_));
    else
      throw TimeoutException("No key distribution center answered in time", ETIMEDOUT);
  }

  void step(std::vector<Attempt>::iterator at) {
    const Attempt::State state = at->advance(message_);
    if (state == Attempt::State::waiting) return;
    if (state == Attempt::State::failed) lastError_ = at->error();
    if (state == Attempt::State::replied) {
      std::vector<char> reply = at->takeReply();
      if (settles_(reply)) return finish(std::move(reply));
      if (!secondBest_) secondBest_ = std::move(reply);
    }
    attempts_.erase(at);
    nextStart_ = Clock::now();
  }

  void startNext() {
    Attempt attempt(addresses_[next_++]);
    if (attempt.error() != 0) {
      lastError_ = attempt.error();
      return;
    }
    attempts_.push_back(std::move(attempt));
    nextStart_ = Clock::now() + stagger_;
  }

  void endWithoutAnswer() {
    if (!secondBest_) throw IOException("No key distribution center can be reached", lastError_);
    finish(std::move(*secondBest_));
  }

  const KdcAddresses& addresses_;
  const KdcReplyCheck& settles_;
  std::chrono::milliseconds stagger_;
  Clock::time_point nextStart_;
  std::vector<char> message_;  // with its length in front
  std::size_t next_ = 0;       // first address not yet tried
  std::vector<Attempt> attempts_;
  std::optional<std::vector<char>> secondBest_;
  int lastError_ = ENOENT;
};

}  // namespace

std::vector<char> exchangeWithKdcs(const KdcAddresses& addresses, std::span<const char> message,
                                   std::chrono::milliseconds limit, const KdcReplyCheck& settles) {
  EventLoop loop;
  return startTask<KdcExchange>(loop, addresses, message, limit, settles).wait();
}

}  // namespace tolk
