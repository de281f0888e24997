// Whether a server speaks SMB 2 or 3: connect and negotiate (MS-SMB2 2.2.3 and 2.2.4) under one
// limit.
#include <cerrno>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "tolk/net/probes.h"
#include "tolk/net/smb_messages.h"
#include "tolk/net/tcp_exchange.h"

namespace tolk {
namespace {

// Whether what has come of a frame can still be, or is, the answer to a negotiate.
enum class Verdict { unfinished, good, bad };

/// The message's size by the frame's head: 24 bits, the most significant byte first (MS-SMB2 2.1).
std::size_t announcedSize(std::string_view frame) {
  std::size_t size = 0;
  for (std::size_t i = 1; i < kSmbFrameHead; ++i) {
    size = size << 8 | static_cast<unsigned char>(frame[i]);
  }
  return size;
}

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
  if (!answer) return Verdict::bad;
  return message.size() < announcedSize(frame) ? Verdict::unfinished : Verdict::good;
}

class SmbProbe final : public TcpExchange<ProbeOutcome> {
 public:
  SmbProbe(EventLoop& loop, const sockaddr_in& address, std::chrono::milliseconds limit)
      : TcpExchange(loop, address, smbFrame(smbNegotiateRequest()), limit) {}

 private:
  std::optional<ProbeOutcome> accept(std::string_view received) override {
    switch (judge(received)) {
      case Verdict::good:
        return ProbeOutcome{};
      case Verdict::bad:
        return ProbeOutcome{EPROTO, EPROTO, addressText(address()) + " gave no SMB 2 answer"};
      case Verdict::unfinished:
        break;
    }
    return std::nullopt;
  }

  // A port that cannot be reached counts as silent.
  void fail(int error) override {
    const int result = failingSide(error) == Failing::peer ? error : ETIME;
    finish({result, error, describe(error, "SMB answer")});
  }
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
