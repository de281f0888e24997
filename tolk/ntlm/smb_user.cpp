// Requests one after the other over one non-blocking socket, each a wait on a loop of its own.
#include "tolk/ntlm/smb_user.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/net/limits.h"
#include "tolk/net/probes.h"
#include "tolk/net/smb_messages.h"
#include "tolk/net/sockets.h"
#include "tolk/ntlm/smb_session_messages.h"
#include "tolk/ntlm/win_error.h"

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

constexpr const char* kConnect = "SMB connect";
constexpr const char* kNegotiate = "SMB negotiate";
constexpr const char* kChallenge = "SMB session set-up, challenge";
constexpr const char* kResponse = "SMB session set-up, response";

// Gives what `action` does the server's and the step's name when it fails.
template <typename Action>
auto inStep(const std::string& server, const char* step, const Action& action) {
  try {
    return action();
  } catch (const Base_Exception& failure) {
    throw TOLKException(server + ": " + step + ": " + failure.what(), failure.code());
  }
}

[[noreturn]] void refuse(const std::string& what) {
  throw BadDataException(what);
}

}  // namespace

Pending<std::string> startSmbExchange(EventLoop& loop, SmbStream& stream,
                                      const std::string& request, std::chrono::milliseconds limit) {
  return startTask<SmbExchange>(loop, stream, request, limit);
}

struct SmbUser::Answer {
  SmbHeader header;
  std::string message;
};

void SmbUser::connect(const std::string& server, const std::vector<sockaddr_in>& addresses) {
  disconnect();
  server_ = server;
  inStep(server_, kConnect, [&] {
    EventLoop loop;
    stream_.socket =
        startTcpConnect(loop, addresses, configuredLimit(PN::NET_CONNECT_TIMEOUT)).wait();
  });
  const Answer answer = exchange(kNegotiate, SmbCommand::kNegotiate, smbNegotiateRequest());
  inStep(server_, kNegotiate, [&] {
    if (answer.header.status != SmbStatus::kSuccess) {
      refuse(WinErrToString(static_cast<int>(answer.header.status)));
    }
    dialect_ = decodeNegotiateAnswer(answer.message);
  });
  chain_.add(answer.message);
}

std::string SmbUser::startSession(const std::string& token) {
  const Answer answer = exchange(kChallenge, SmbCommand::kSessionSetup,
                                 encodeSessionSetup(stream_.nextMessage, 0, token));
  sessionId_ = answer.header.sessionId;
  chain_.add(answer.message);
  return inStep(server_, kChallenge, [&answer] {
    if (answer.header.status == SmbStatus::kSuccess)
      refuse("the server did not ask for a password");
    if (answer.header.status != SmbStatus::kMoreProcessingRequired) {
      refuse(WinErrToString(static_cast<int>(answer.header.status)));
    }
    return decodeSessionAnswer(answer.message).token;
  });
}

int SmbUser::finishSession(const std::string& token, std::string& out) {
  out.clear();
  const auto request = inStep(server_, kResponse, [&] {
    return encodeSessionSetup(stream_.nextMessage, sessionId_, token);
  });
  const Answer answer = exchange(kResponse, SmbCommand::kSessionSetup, request);
  return inStep(server_, kResponse, [&] {
    if (answer.header.status == SmbStatus::kMoreProcessingRequired) {
      refuse("the server asks for a third message");
    }
    if (answer.header.status != SmbStatus::kSuccess) return static_cast<int>(answer.header.status);
    SmbSessionAnswer session = decodeSessionAnswer(answer.message);
    if (answer.header.sessionId != sessionId_) refuse("the answer is for another session");
    if (session.guest) refuse("the server let the user in as guest, without checking the password");
    if (session.anonymous) refuse("the server let the user in anonymously");
    out = std::move(session.token);
    accepted_ = answer.message;
    return 0;
  });
}

void SmbUser::requireSignature(const NtlmKey& sessionKey) const {
  inStep(server_, kResponse, [&] {
    if (!decodeSmbHeader(accepted_).hasSignature) {
      refuse(
          "the answer is not signed, so nothing shows that a controller has checked the password");
    }
    if (!smbSignatureHolds(accepted_, dialect_, sessionKey, chain_)) {
      refuse("the signature of the answer is wrong, so no controller has checked the password");
    }
  });
}

SmbUser::Answer SmbUser::exchange(const char* step, std::uint16_t command,
                                  const std::string& request) {
  return inStep(server_, step, [&] {
    if (!stream_.socket) refuse("not connected");
    chain_.add(request);
    EventLoop loop;
    Answer answer;
    answer.message =
        startSmbExchange(loop, stream_, request, configuredLimit(PN::SMB_SESSION_TIMEOUT)).wait();
    answer.header = decodeSmbHeader(answer.message);
    if (answer.header.command != command) refuse("the answer is to another request");
    return answer;
  });
}

void SmbUser::disconnect() noexcept {
  stream_ = {};
  dialect_ = 0;
  sessionId_ = 0;
  chain_ = {};
  accepted_.clear();
}

}  // namespace tolk
