// Whether a server speaks SMB 2 or 3: connect and negotiate (MS-SMB2 2.2.3 and 2.2.4) under one
// limit.
#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>

#include <cerrno>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

#include "tolk/net/probes.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

constexpr std::size_t kFrameHead = 4;    // a zero byte and the length, MS-SMB2 2.1
constexpr std::size_t kHeaderSize = 64;  // MS-SMB2 2.2.1.2
constexpr std::string_view kProtocolId("\xFESMB", 4);

class LittleEndian {
 public:
  LittleEndian& put(std::uint64_t value, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i) out_ += static_cast<char>(value >> (8 * i) & 0xff);
    return *this;
  }
  LittleEndian& append(std::string_view bytes) {
    out_ += bytes;
    return *this;
  }
  [[nodiscard]] const std::string& bytes() const noexcept { return out_; }

 private:
  std::string out_;
};

std::uint64_t readLittle(std::string_view bytes, std::size_t at, unsigned count) {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < count; ++i) {
    value |= std::uint64_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
  }
  return value;
}

std::string randomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  // Up to 256 bytes come whole (getrandom(2)).
  if (::getrandom(bytes.data(), bytes.size(), 0) < 0) bytes.assign(count, '\x5a');
  return bytes;
}

// All dialects from 2.0.2 to 3.1.1: a server may be set to the newest alone. 3.1.1 wants a
// pre-authentication context.
std::string negotiateRequest() {
  constexpr std::array<std::uint16_t, 5> kDialects{0x0202, 0x0210, 0x0300, 0x0302, 0x0311};
  constexpr std::uint32_t kContextOffset = 112;  // the next multiple of 8 after the dialects
  constexpr unsigned kSaltSize = 32;
  LittleEndian message;
  message.append(kProtocolId).put(kHeaderSize, 2).put(0, 2 + 4).put(0, 2).put(1, 2);  // 1 credit
  message.append(std::string(kHeaderSize - message.bytes().size(), '\0'));
  message.put(36, 2).put(kDialects.size(), 2).put(1, 2).put(0, 2 + 4);  // signing is enabled
  message.append(randomBytes(16)).put(kContextOffset, 4).put(1, 2).put(0, 2);
  for (const std::uint16_t dialect : kDialects) message.put(dialect, 2);
  message.append(std::string(kContextOffset - message.bytes().size(), '\0'));
  message.put(1, 2).put(2 + 2 + 2 + kSaltSize, 2).put(0, 4);  // pre-authentication integrity
  message.put(1, 2).put(kSaltSize, 2).put(1, 2).append(randomBytes(kSaltSize));  // SHA-512
  const std::size_t size = message.bytes().size();
  std::string frame{'\0', static_cast<char>(size >> 16), static_cast<char>(size >> 8 & 0xff),
                    static_cast<char>(size & 0xff)};
  return frame + message.bytes();
}

// Whether what has come of a frame can still be, or is, the answer to a negotiate.
enum class Verdict { unfinished, good, bad };

Verdict judge(std::string_view frame) {
  constexpr std::string_view kStart("\0", 1);
  if (!frame.starts_with(kStart.substr(0, frame.size()))) return Verdict::bad;
  const std::string_view message = frame.substr(std::min(frame.size(), kFrameHead));
  const std::size_t known = std::min(message.size(), kProtocolId.size());
  if (message.substr(0, known) != kProtocolId.substr(0, known)) return Verdict::bad;
  constexpr std::size_t kNeeded = kHeaderSize + 2;
  if (message.size() < kNeeded) return Verdict::unfinished;
  constexpr std::uint64_t kServerToClient = 1;
  const bool answer = readLittle(message, 4, 2) == kHeaderSize && readLittle(message, 8, 4) == 0 &&
                      readLittle(message, 12, 2) == 0 &&
                      (readLittle(message, 16, 4) & kServerToClient) != 0 &&
                      readLittle(message, kHeaderSize, 2) == 65;
  return answer ? Verdict::good : Verdict::bad;
}

class SmbProbe final : public Task<int> {
 public:
  SmbProbe(EventLoop& loop, const sockaddr_in& address, std::chrono::milliseconds limit)
      : Task(loop, Clock::now() + limit), request_(negotiateRequest()) {
    int error = 0;
    socket_ = beginConnect(address, error);
    if (error != 0 && error != EINPROGRESS) finishConnect(error);
  }

 private:
  void watch(std::vector<pollfd>& out) override {
    out.push_back({socket_.get(), sent_ < request_.size() ? short{POLLOUT} : short{POLLIN}, 0});
  }

  void advance(std::span<const pollfd> /*ready*/) override {
    if (!connected_) {
      if (const int error = connectError(socket_.get()); error != 0) return finishConnect(error);
      connected_ = true;
    }
    if (sent_ < request_.size()) return send();
    receive();
  }

  void finishConnect(int error) { finish(error == ECONNREFUSED ? error : ETIME); }

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
    if (size == 0) return finish(ECONNRESET);
    answer_.append(piece.data(), static_cast<std::size_t>(size));
    const Verdict verdict = judge(answer_);
    if (verdict != Verdict::unfinished) finish(verdict == Verdict::good ? 0 : EPROTO);
  }

  void failUnlessLater() {
    const int error = errno;
    if (error != EAGAIN && error != EINTR) finish(error == ETIMEDOUT ? ETIME : error);
  }

  void expire() override { finish(ETIME); }

  std::string request_;
  UniqueFd socket_;
  bool connected_ = false;
  std::size_t sent_ = 0;
  std::string answer_;
};

}  // namespace

Pending<int> startSmbProbe(EventLoop& loop, const sockaddr_in& address,
                           std::chrono::milliseconds limit) {
  return startTask<SmbProbe>(loop, address, limit);
}

int TestSmbPort(sockaddr_in& address, std::string& message) {
  EventLoop loop;
  const int result = startSmbProbe(loop, address).wait();
  message.clear();
  if (result != 0) {
    message = addressText(address) + ": " + std::generic_category().message(result);
  }
  return result;
}

}  // namespace tolk
