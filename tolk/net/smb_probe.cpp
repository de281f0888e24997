// Whether a server speaks SMB 2 or 3: connect and negotiate (MS-SMB2 2.2.3 and 2.2.4) under one
// limit.
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "tolk/net/probes.h"
#include "tolk/net/smb_messages.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

// Whether what has come of a frame can still be, or is, the answer to a negotiate.
enum class Verdict { unfinished, good, bad };

Verdict judge(std::string_view frame) {
  constexpr std::string_view kStart("\0", 1);
  if (!frame.starts_with(kStart.substr(0, frame.size()))) return Verdict::bad;
  const std::string_view message = frame.substr(std::min(frame.size(), kSmbFrameHead));
  const std::size_t known = std::min(message.size(), kSmbProtocolId.size());
  if (message.substr(0, known) != kSmbProtocolId.substr(0, known)) return Verdict::bad;
  constexpr std::size_t kNeeded = kSmbHeaderSize + 2;
  if (message.size() < kNeeded) return Verdict::unfinished;
  constexpr std::uint64_t kServerToClient = 1;
  const bool answer = readLittle(message, 4, 2) == kSmbHeaderSize &&
                      readLittle(message, 8, 4) == 0 && readLittle(message, 12, 2) == 0 &&
                      (readLittle(message, 16, 4) & kServerToClient) != 0 &&
                      readLittle(message, kSmbHeaderSize, 2) == 65;
  return answer ? Verdict::good : Verdict::bad;
}

// A port that cannot be reached counts as silent.
int smbResult(int error) {
  return error == 0 || failingSide(error) == Failing::peer ? error : ETIME;
}

std::string smbReason(const sockaddr_in& address, int error) {
  switch (error) {
    case 0:
      return {};
    case EPROTO:
      return addressText(address) + " gave no SMB 2 answer";
    case ECONNRESET:
      return addressText(address) + " closed the connection on an SMB negotiate";
    default:
      return failureText(address, error);
  }
}

class SmbProbe final : public Task<ProbeOutcome> {
 public:
  SmbProbe(EventLoop& loop, const sockaddr_in& address, std::chrono::milliseconds limit)
      : Task(loop, Clock::now() + limit),
        address_(address),
        limit_(limit),
        request_(smbFrame(smbNegotiateRequest())) {
    int error = 0;
    socket_ = beginConnect(address, error);
    if (error != 0 && error != EINPROGRESS) conclude(error);
  }

 private:
  void watch(std::vector<pollfd>& out) override {
    out.push_back({socket_.get(), sent_ < request_.size() ? short{POLLOUT} : short{POLLIN}, 0});
  }

  void advance(std::span<const pollfd> /*ready*/) override {
    if (!connected_) {
      if (const int error = connectError(socket_.get()); error != 0) return conclude(error);
      connected_ = true;
    }
    if (sent_ < request_.size()) return send();
    receive();
  }

  void conclude(int error) { finish({smbResult(error), error, smbReason(address_, error)}); }

  void send() {
    const ssize_t size =
        ::send(socket_.get(), request_.data() + sent_, request_.size() - sent_, MSG_NOSIGNAL);
    if (size < 0) return failUnlessLater();
    sent_ += static_cast<std::size_t>(size);
  }

  void receive() {
    std::array<char, 512> piece;
    const ssize_t size = ::recv(socket_.get(), piece.data(), piece.size(), 0);
    if (size < 0) return failUnlessLater();
    if (size == 0) return conclude(ECONNRESET);
    answer_.append(piece.data(), static_cast<std::size_t>(size));
    const Verdict verdict = judge(answer_);
    if (verdict != Verdict::unfinished) conclude(verdict == Verdict::good ? 0 : EPROTO);
  }

  void failUnlessLater() {
    const int error = errno;
    if (error != EAGAIN && error != EINTR) conclude(error);
  }

  void expire() override {
    const std::string what =
        connected_ ? " gave no SMB answer within " : " did not accept a connection within ";
    finish({ETIME, ETIME, addressText(address_) + what + limitText(limit_)});
  }

  sockaddr_in address_;
  std::chrono::milliseconds limit_;
  std::string request_;
  UniqueFd socket_;
  bool connected_ = false;
  std::size_t sent_ = 0;
  std::string answer_;
};

}  // namespace

Pending<ProbeOutcome> startSmbProbe(EventLoop& loop, const sockaddr_in& address,
                                    std::chrono::milliseconds limit) {
  return startTask<SmbProbe>(loop, address, limit);
}

int TestSmbPort(sockaddr_in& address, std::string& message) {
  EventLoop loop;
  ProbeOutcome outcome = startSmbProbe(loop, address).wait();
  message = std::move(outcome.reason);
  return outcome.result;
}

}  // namespace tolk
