#include "tolk/ntlm/smb_exchange.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/net/limits.h"
#include "tolk/net/smb_messages.h"
#include "tolk/net/sockets.h"
#include "tolk/ntlm/smb_session_messages.h"

namespace tolk {
namespace {

// No answer of a logon comes near it: a security message has at most 64 KiB.
constexpr std::size_t kLimitBytes = std::size_t{128} << 10U;

// Takes a whole message off the front of what was received.
std::optional<std::string> takeMessage(std::string& received) {
  if (received.size() < kSmbFrameHead) return std::nullopt;
  std::size_t size = 0;
  for (std::size_t i = 1; i < kSmbFrameHead; ++i) {
    size = size << 8U | static_cast<unsigned char>(received[i]);
  }
  if (received[0] != '\0' || size > kLimitBytes) throw BadDataException("the answer is not SMB 2");
  if (received.size() - kSmbFrameHead < size) return std::nullopt;
  std::string message = received.substr(kSmbFrameHead, size);
  received.erase(0, kSmbFrameHead + size);
  return message;
}

class SmbExchange final : public Task<std::string> {
 public:
  SmbExchange(EventLoop& loop, SmbStream& stream, const std::string& request,
              std::chrono::milliseconds limit)
      : Task(loop, Clock::now() + limit),
        stream_(stream),
        frame_(smbFrame(request)),
        messageId_(stream.nextMessage++),
        limit_(limit) {
    // The server would drop the request unanswered (MS-SMB2 3.3.5.2.3).
    if (stream.credits == 0) throw BadDataException("the server grants no further request");
    --stream.credits;
  }

 private:
  void watch(std::vector<pollfd>& out) override {
    const short events = sent_ < frame_.size() ? POLLOUT : POLLIN;
    out.push_back({stream_.socket.get(), events, 0});
  }

  void advance(std::span<const pollfd> /*ready*/) override {
    if (sent_ < frame_.size()) return send();
    receive();
  }

  void send() {
    const ssize_t size =
        ::send(stream_.socket.get(), frame_.data() + sent_, frame_.size() - sent_, MSG_NOSIGNAL);
    if (size < 0) return failUnlessLater();
    sent_ += static_cast<std::size_t>(size);
  }

  void receive() {
    std::array<char, 4096> piece;
    const ssize_t size = ::recv(stream_.socket.get(), piece.data(), piece.size(), 0);
    if (size < 0) return failUnlessLater();
    if (size == 0) throw IOException("the server has closed the connection", ECONNRESET);
    stream_.received.append(piece.data(), static_cast<std::size_t>(size));
    for (;;) {
      std::optional<std::string> message = takeMessage(stream_.received);
      if (!message) return;
      const SmbHeader header = decodeSmbHeader(*message);
      stream_.credits += header.credits;
      if (header.messageId != messageId_ || header.status == SmbStatus::kPending) continue;
      return finish(std::move(*message));
    }
  }

  static void failUnlessLater() {
    const int error = errno;
    if (error != EAGAIN && error != EINTR) {
      throw IOException(std::generic_category().message(error), error);
    }
  }

  void expire() override {
    throw TimeoutException("no answer within " + limitText(limit_), ETIMEDOUT);
  }

  SmbStream& stream_;
  std::string frame_;
  std::uint64_t messageId_;
  std::chrono::milliseconds limit_;
  std::size_t sent_ = 0;
};

}  // namespace

Pending<std::string> startSmbExchange(EventLoop& loop, SmbStream& stream,
                                      const std::string& request, std::chrono::milliseconds limit) {
  return startTask<SmbExchange>(loop, stream, request, limit);
}

}  // namespace tolk
