#include "tolk/ntlm/smb_user.h"

#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/net/probes.h"
#include "tolk/net/smb_messages.h"
#include "tolk/ntlm/smb_session_messages.h"
#include "tolk/ntlm/win_error.h"

namespace tolk {
namespace {

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
