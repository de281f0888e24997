// HMAC-SHA256 for SMB 2, AES-CMAC with derived keys for SMB 3; 3.1.1 hashes the conversation into
// its key.
#include "tolk/ntlm/smb_signing.h"

#include <nettle/cmac.h>
#include <nettle/hmac.h>
#include <nettle/memops.h>
#include <nettle/sha2.h>

#include <cassert>
#include <string>

#include "tolk/net/smb_messages.h"
#include "tolk/ntlm/ntlm_crypto.h"

namespace tolk {
namespace {

constexpr std::uint16_t kDialect300 = 0x0300;
constexpr std::uint16_t kDialect311 = 0x0311;
constexpr std::size_t kSignatureOffset = 48;  // of 16 bytes, the last ones of the header

// The first 16 bytes of HMAC-SHA256.
NtlmKey hmacSha256(const NtlmKey& key, std::string_view text) {
  Secret<hmac_sha256_ctx> context;
  NtlmKey result;
  hmac_sha256_set_key(&*context, key->size(), key->data());
  hmac_sha256_update(&*context, text.size(), octets(text).data());
  hmac_sha256_digest(&*context, result->size(), result->data());
  return result;
}

NtlmKey aesCmac(const NtlmKey& key, std::string_view text) {
  Secret<cmac_aes128_ctx> context;
  NtlmKey result;
  cmac_aes128_set_key(&*context, key->data());
  cmac_aes128_update(&*context, text.size(), octets(text).data());
  cmac_aes128_digest(&*context, result->size(), result->data());
  return result;
}

// The key derivation in counter mode of SP 800-108, as MS-SMB2 3.1.4.2 wants it: one round gives
// the 128 bits. The label's final zero byte counts.
NtlmKey derivedKey(const NtlmKey& key, std::string_view label, std::string_view purpose) {
  std::string input("\0\0\0\1", 4);
  input.append(label).append(1, '\0').append(purpose).append("\0\0\0\x80", 4);
  return hmacSha256(key, input);
}

NtlmKey signature(std::string_view unsignedMessage, std::uint16_t dialect,
                  const NtlmKey& sessionKey, const SmbMessageChain& chain) {
  using std::string_view_literals::operator""sv;
  if (dialect < kDialect300) return hmacSha256(sessionKey, unsignedMessage);
  const NtlmKey key = dialect < kDialect311
                          ? derivedKey(sessionKey, "SMB2AESCMAC\0"sv, "SmbSign\0"sv)
                          : derivedKey(sessionKey, "SMBSigningKey\0"sv, chain.value());
  return aesCmac(key, unsignedMessage);
}

}  // namespace

void SmbMessageChain::add(std::string_view message) {
  sha512_ctx context;
  sha512_init(&context);
  sha512_update(&context, value_.size(), value_.data());
  sha512_update(&context, message.size(), octets(message).data());
  sha512_digest(&context, value_.size(), value_.data());
}

std::string_view SmbMessageChain::value() const noexcept {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): unsigned char to char
  return {reinterpret_cast<const char*>(value_.data()), value_.size()};
}

bool smbSignatureHolds(std::string_view message, std::uint16_t dialect, const NtlmKey& sessionKey,
                       const SmbMessageChain& chain) {
  assert(message.size() >= kSmbHeaderSize);
  std::string plain(message);
  plain.replace(kSignatureOffset, sessionKey->size(), sessionKey->size(), '\0');
  const NtlmKey expected = signature(plain, dialect, sessionKey, chain);
  return memeql_sec(expected->data(), message.data() + kSignatureOffset, expected->size()) != 0;
}

}  // namespace tolk
