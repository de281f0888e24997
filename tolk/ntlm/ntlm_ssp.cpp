#include "tolk/ntlm/ntlm_ssp.h"

#include <algorithm>
#include <cassert>
#include <chrono>

#include "tolk/base/exceptions.h"
#include "tolk/base/stack_scrub.h"
#include "tolk/net/smb_messages.h"
#include "tolk/ntlm/ntlm_crypto.h"
#include "tolk/ntlm/ntlm_messages.h"
#include "tolk/ntlm/ntlm_text.h"

namespace tolk {
namespace {

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
