// The computations of NTLM version 2 (MS-NLMP 3.3.2 and 3.4). Pure functions; every key wipes
// itself.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "tolk/base/shredder.h"
#include "tolk/ntlm/secret.h"

namespace tolk {

/// Eight bytes as they stand in a message: a challenge or a time.
using NtlmOctets = std::array<char, 8>;

/// NTOWFv1: the hash of a password (UTF-8). Throws TOLKException when it is not UTF-8.
NtlmKey ntlmPasswordHash(const Shredder& password);

/// NTOWFv2: the key with which a user of a domain (both UTF-8) answers challenges.
NtlmKey ntlmResponseKey(const NtlmKey& passwordHash, std::string_view user,
                        std::string_view domain);

/// What one response is made of.
struct NtlmResponseInput {
  NtlmOctets serverChallenge{};
  NtlmOctets clientChallenge{};
  NtlmOctets time{};            ///< FILETIME: 100 ns since 1601
  std::string_view targetInfo;  ///< AV pairs with their end
};

/// NTLMv2_RESPONSE (MS-NLMP 2.2.2.8): the proof and what it proves.
std::string ntlmV2Response(const NtlmKey& responseKey, const NtlmResponseInput& input);

/// The session base key, which is the key exchange key too; `response` as ntlmV2Response() gives
/// it.
NtlmKey ntlmSessionBaseKey(const NtlmKey& responseKey, std::string_view response);

/// RC4: encrypts and decrypts the exported session key.
NtlmKey ntlmExchangeKey(const NtlmKey& exchangeKey, const NtlmKey& sessionKey);

/// HMAC-MD5 over the pieces in their order: the message integrity code over types 1, 2 and 3.
NtlmKey ntlmKeyedHash(const NtlmKey& key, std::initializer_list<std::string_view> pieces);

/// The bytes of a key, for those that go into a message.
inline std::string_view bytesOf(const NtlmKey& key) noexcept {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): unsigned char to char
  return {reinterpret_cast<const char*>(key->data()), key->size()};
}

/// Fills with random bytes from the kernel. Throws TOLKException when it has none to give.
void fillRandom(void* bytes, std::size_t count);

}  // namespace tolk
