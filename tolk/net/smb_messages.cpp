// Numbers are little-endian, at fixed places of the structures in MS-SMB2 2.2.
#include "tolk/net/smb_messages.h"

#include <sys/random.h>

#include <array>
#include <cassert>

namespace tolk {
namespace {

std::string randomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  // Up to 256 bytes come whole (getrandom(2)). Nothing here depends on them being secret.
  if (::getrandom(bytes.data(), bytes.size(), 0) < 0) bytes.assign(count, '\x5a');
  return bytes;
}

}  // namespace

std::uint64_t readLittle(std::string_view bytes, std::size_t at, unsigned count) {
  assert(at <= bytes.size() && count <= bytes.size() - at);
  std::uint64_t value = 0;
  for (unsigned i = 0; i < count; ++i) {
    value |= std::uint64_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
  }
  return value;
}

std::string smbFrame(std::string_view message) {
  const std::size_t size = message.size();
  assert(size < (1U << 24U));
  std::string frame{'\0', static_cast<char>(size >> 16), static_cast<char>(size >> 8 & 0xff),
                    static_cast<char>(size & 0xff)};
  return frame.append(message);
}

// All dialects: a server may be set to the newest alone. 3.1.1 wants a pre-authentication context.
// Encryption is offered because a server can be set to refuse, with STATUS_ACCESS_DENIED, the logon
// of a client that does not; what follows the logon would have to be encrypted, and nothing does.
std::string smbNegotiateRequest() {
  constexpr std::array<std::uint16_t, 5> kDialects{0x0202, 0x0210, 0x0300, 0x0302, 0x0311};
  constexpr std::uint32_t kContextOffset = 112;  // the next multiple of 8 after the dialects
  constexpr unsigned kSaltSize = 32;
  constexpr unsigned kEncryption = 0x40;
  LittleEndian message;
  message.append(kSmbProtocolId).put(kSmbHeaderSize, 2).put(0, 2 + 4).put(0, 2).put(1, 2);
  message.append(std::string(kSmbHeaderSize - message.bytes().size(), '\0'));
  message.put(36, 2).put(kDialects.size(), 2).put(1, 2).put(0, 2);  // signing is enabled
  message.put(kEncryption, 4);
  message.append(randomBytes(16)).put(kContextOffset, 4).put(2, 2).put(0, 2);
  for (const std::uint16_t dialect : kDialects) message.put(dialect, 2);
  message.append(std::string(kContextOffset - message.bytes().size(), '\0'));
  message.put(1, 2).put(2 + 2 + 2 + kSaltSize, 2).put(0, 4);  // pre-authentication integrity
  message.put(1, 2).put(kSaltSize, 2).put(1, 2).append(randomBytes(kSaltSize));  // SHA-512
  message.put(0, 2);                                                             // to 8 bytes
  message.put(2, 2).put(2 + 2, 2).put(0, 4).put(1, 2).put(2, 2);  // encryption: AES-128-GCM
  return message.bytes();
}

}  // namespace tolk
