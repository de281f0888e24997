// The three messages of one logon (MS-NLMP 2.2.1) and the keys that come of it.
#include "tolk/ntlm/ntlm_ssp.h"

#include <algorithm>
#include <cassert>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/base/stack_scrub.h"
#include "tolk/net/smb_messages.h"
#include "tolk/ntlm/ntlm_crypto.h"
#include "tolk/ntlm/ntlm_text.h"

namespace tolk {
namespace {

/// What a type 3 message holds; names in UTF-16LE.
struct NtlmAuthenticate {
  std::uint32_t flags = 0;
  std::string domain{};
  std::string user{};
  std::string workstation{};
  std::string lmResponse{};
  std::string ntResponse{};
  std::string encryptedKey{};
};

/// Where the 16 bytes of the integrity code lie in a type 3 message.
constexpr std::size_t kNtlmIntegrityOffset = 72;

constexpr std::string_view kSignature("NTLMSSP\0", 8);

// A head whose fields point into the payload behind it.
class Message {
 public:
  Message(unsigned type, std::size_t headSize) : headSize_(headSize) {
    head_.append(kSignature).put(type, 4);
  }
  Message& field(std::string_view bytes) {
    if (bytes.size() > 0xffff) throw TOLKException("A name or response is too long for NTLM");
    head_.put(bytes.size(), 2).put(bytes.size(), 2).put(headSize_ + payload_.size(), 4);
    payload_ += bytes;
    return *this;
  }
  Message& number(std::uint64_t value, unsigned bytes) {
    head_.put(value, bytes);
    return *this;
  }
  [[nodiscard]] std::string bytes() const { return head_.bytes() + payload_; }

 private:
  LittleEndian head_;
  std::size_t headSize_;
  std::string payload_;
};

// Type 1. Domain and workstation go out as they are, in the client's eight-bit character set;
// usually both are empty. Throws TOLKException when one is longer than 65535 bytes.
std::string encodeNtlmNegotiate(std::uint32_t flags, std::string_view domain,
                                std::string_view workstation) {
  return Message(1, 32).number(flags, 4).field(domain).field(workstation).bytes();
}

// Type 3, its integrity code all zero. Throws TOLKException when a field is longer than 65535
// bytes.
std::string encodeNtlmAuthenticate(const NtlmAuthenticate& content) {
  constexpr unsigned kVersion = 8;
  constexpr unsigned kIntegrityCode = 16;
  Message message(3, kNtlmIntegrityOffset + kIntegrityCode);
  message.field(content.lmResponse).field(content.ntResponse);
  message.field(content.domain).field(content.user).field(content.workstation);
  message.field(content.encryptedKey).number(content.flags, 4);
  return message.number(0, kVersion).number(0, kIntegrityCode).bytes();
}

// Now, as FILETIME.
NtlmOctets currentTime() {
  using Ticks = std::chrono::duration<std::uint64_t, std::ratio<1, 10'000'000>>;
  constexpr Ticks k1601To1970 = std::chrono::seconds(11'644'473'600);
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const std::uint64_t ticks = (std::chrono::duration_cast<Ticks>(now) + k1601To1970).count();
  NtlmOctets time{};
  std::ranges::copy(LittleEndian().put(ticks, 8).bytes(), time.begin());
  return time;
}

// MS-NLMP 3.1.5.1.2: a session key of the client's own is for signing or sealing only.
bool exchangesKey(std::uint32_t flags) {
  return (flags & NtlmFlag::kKeyExchange) != 0 &&
         (flags & (NtlmFlag::kSign | NtlmFlag::kSeal)) != 0;
}

}  // namespace

NtlmSSP::NtlmSSP(const std::string& domain, const std::string& workstation, const std::string& user,
                 const Shredder& password, unsigned flags, unsigned version, bool /*reserved*/)
    : workstation_(workstation),
      password_(password),
      flags_(flags),
      negotiate_(encodeNtlmNegotiate(flags, domain, workstation)) {
  if (version != 2) {
    throw TOLKException("NTLM responses of version " + std::to_string(version) +
                        " are not supported");
  }
  AccountName account = splitAccountName(user, domain);
  domain_ = std::move(account.domain);
  user_ = std::move(account.user);
}

void NtlmSSP::setMsgType2(const std::string& message) {
  try {
    challenge_ = parseNtlmChallenge(message);
  } catch (const BadDataException& failure) {
    throw TOLKException(failure.what());
  }
  challengeMessage_ = message;
}

std::string NtlmSSP::getMsgType3() {
  std::string message = makeMsgType3();
  password_.wipe();
  scrubStack();
  return message;
}

// A server in more than one domain, as a member with accounts of its own, must not choose.
const std::string& NtlmSSP::accountDomain() const noexcept {
  const bool plainName = domain_.empty() && user_.find('@') == std::string::npos;
  return plainName ? challenge_.netbiosDomain : domain_;
}

// MS-NLMP 3.1.5.1.2 wants the integrity code where the challenge has a time stamp. Who alters a
// challenge could take that out, so the code is always sent, and never the LMv2 response, which
// proves neither challenge nor code. Servers from before there was such a code ignore it.
std::string NtlmSSP::makeMsgType3() {
  assert(!challengeMessage_.empty());
  const std::string targetInfo =
      challenge_.targetInfo.empty() ? std::string() : withIntegrityFlag(challenge_.targetInfo);
  NtlmResponseInput input{.serverChallenge = challenge_.serverChallenge,
                          .time = challenge_.time.value_or(currentTime()),
                          .targetInfo = targetInfo};
  fillRandom(input.clientChallenge.data(), input.clientChallenge.size());

  const std::string& domain = accountDomain();
  const NtlmKey responseKey = ntlmResponseKey(ntlmPasswordHash(password_), user_, domain);
  NtlmAuthenticate content;
  content.flags = flags_ & challenge_.flags;
  content.flags |= challenge_.flags & NtlmFlag::kTargetInfo;
  content.domain = toUtf16(domain);
  content.user = toUtf16(user_);
  content.workstation = toUtf16(workstation_);
  content.ntResponse = ntlmV2Response(responseKey, input);
  content.lmResponse = std::string(24, '\0');

  sessionKey_ = ntlmSessionBaseKey(responseKey, content.ntResponse);
  if (exchangesKey(content.flags)) {
    const NtlmKey exchangeKey = sessionKey_;
    fillRandom(sessionKey_->data(), sessionKey_->size());
    content.encryptedKey = bytesOf(ntlmExchangeKey(exchangeKey, sessionKey_));
  }

  std::string message = encodeNtlmAuthenticate(content);
  const NtlmKey code = ntlmKeyedHash(sessionKey_, {negotiate_, challengeMessage_, message});
  return message.replace(kNtlmIntegrityOffset, code->size(), bytesOf(code));
}

}  // namespace tolk
