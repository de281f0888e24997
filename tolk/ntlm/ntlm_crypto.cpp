// Nettle's MD4, HMAC-MD5 and RC4; every context lies in memory that wipes itself.
#include "tolk/ntlm/ntlm_crypto.h"

#include <nettle/arcfour.h>
#include <nettle/hmac.h>
#include <nettle/md4.h>
#include <sys/random.h>

#include <span>

#include "tolk/base/exceptions.h"
#include "tolk/base/locked_memory.h"
#include "tolk/ntlm/ntlm_text.h"

namespace tolk {
namespace {

std::string_view view(const NtlmOctets& bytes) {
  return {bytes.data(), bytes.size()};
}

}  // namespace

NtlmKey ntlmPasswordHash(const Shredder& password) {
  LockedMemory unicode(2 * password.size() + 1);  // wipes itself
  const std::size_t size = toUtf16(password.view(), {unicode.data(), unicode.size()});
  Secret<md4_ctx> context;
  NtlmKey hash;
  md4_init(&*context);
  md4_update(&*context, size, octets({unicode.data(), size}).data());
  md4_digest(&*context, hash->size(), hash->data());
  return hash;
}

NtlmKey ntlmKeyedHash(const NtlmKey& key, std::initializer_list<std::string_view> pieces) {
  Secret<hmac_md5_ctx> context;
  NtlmKey hash;
  hmac_md5_set_key(&*context, key->size(), key->data());
  for (const std::string_view piece : pieces) {
    hmac_md5_update(&*context, piece.size(), octets(piece).data());
  }
  hmac_md5_digest(&*context, hash->size(), hash->data());
  return hash;
}

NtlmKey ntlmResponseKey(const NtlmKey& passwordHash, std::string_view user,
                        std::string_view domain) {
  return ntlmKeyedHash(passwordHash, {toUtf16(ntlmUpperCase(user)), toUtf16(domain)});
}

std::string ntlmV2Response(const NtlmKey& responseKey, const NtlmResponseInput& input) {
  constexpr std::string_view kVersions("\1\1\0\0\0\0\0\0", 8);  // of the response, then reserved
  constexpr std::string_view kReserved("\0\0\0\0", 4);
  std::string proven(kVersions);
  proven.append(view(input.time)).append(view(input.clientChallenge)).append(kReserved);
  proven.append(input.targetInfo).append(kReserved);
  const NtlmKey proof = ntlmKeyedHash(responseKey, {view(input.serverChallenge), proven});
  return std::string(bytesOf(proof)) + proven;
}

NtlmKey ntlmSessionBaseKey(const NtlmKey& responseKey, std::string_view response) {
  return ntlmKeyedHash(responseKey, {response.substr(0, responseKey->size())});
}

NtlmKey ntlmExchangeKey(const NtlmKey& exchangeKey, const NtlmKey& sessionKey) {
  Secret<arcfour_ctx> context;
  NtlmKey result;
  arcfour_set_key(&*context, exchangeKey->size(), exchangeKey->data());
  arcfour_crypt(&*context, result->size(), result->data(), sessionKey->data());
  return result;
}

void fillRandom(void* bytes, std::size_t count) {
  // Up to 256 bytes come whole (getrandom(2)).
  if (::getrandom(bytes, count, 0) != static_cast<ssize_t>(count)) {
    throw TOLKException("The kernel gives no random numbers");
  }
}

}  // namespace tolk
