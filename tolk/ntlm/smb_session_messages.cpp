// Fields are put together and read in the order of their tables in MS-SMB2 2.2.5 and 2.2.6.
#include "tolk/ntlm/smb_session_messages.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "tolk/base/exceptions.h"
#include "tolk/net/smb_messages.h"

namespace tolk {
namespace {

void require(bool holds, const char* what) {
  if (!holds) throw BadDataException(what);
}

// The header of a request that costs one credit and asks for some more.
LittleEndian requestHeader(std::uint16_t command, std::uint64_t messageId,
                           std::uint64_t sessionId) {
  constexpr unsigned kCreditsAskedFor = 8;
  LittleEndian header;
  header.append(kSmbProtocolId).put(kSmbHeaderSize, 2).put(1, 2).put(0, 4);
  header.put(command, 2).put(kCreditsAskedFor, 2).put(0, 4).put(0, 4).put(messageId, 8);
  return header.put(0, 4).put(0, 4).put(sessionId, 8).put(0, 16);
}

}  // namespace

SmbHeader decodeSmbHeader(std::string_view message) {
  constexpr std::uint64_t kServerToClient = 1;
  constexpr std::uint64_t kSigned = 8;
  require(message.size() >= kSmbHeaderSize && message.starts_with(kSmbProtocolId) &&
              readLittle(message, 4, 2) == kSmbHeaderSize,
          "the answer is not SMB 2");
  const std::uint64_t flags = readLittle(message, 16, 4);
  require((flags & kServerToClient) != 0, "the answer is not SMB 2");
  return {.status = static_cast<std::uint32_t>(readLittle(message, 8, 4)),
          .command = static_cast<std::uint16_t>(readLittle(message, 12, 2)),
          .credits = static_cast<std::uint16_t>(readLittle(message, 14, 2)),
          .messageId = readLittle(message, 24, 8),
          .sessionId = readLittle(message, 40, 8),
          .hasSignature = (flags & kSigned) != 0};
}

std::uint16_t decodeNegotiateAnswer(std::string_view message) {
  constexpr std::size_t kFixedSize = 64;
  constexpr std::array<std::uint64_t, 5> kDialects{0x0202, 0x0210, 0x0300, 0x0302, 0x0311};
  require(message.size() >= kSmbHeaderSize + kFixedSize &&
              readLittle(message, kSmbHeaderSize, 2) == kFixedSize + 1,
          "the answer is malformed");
  const std::uint64_t dialect = readLittle(message, kSmbHeaderSize + 4, 2);
  require(std::ranges::count(kDialects, dialect) == 1,
          "the answer chooses a dialect that was not offered");
  return static_cast<std::uint16_t>(dialect);
}

SmbSessionAnswer decodeSessionAnswer(std::string_view message) {
  constexpr std::size_t kFixedSize = 8;
  constexpr std::uint64_t kGuest = 1;
  constexpr std::uint64_t kAnonymous = 2;
  require(message.size() >= kSmbHeaderSize + kFixedSize &&
              readLittle(message, kSmbHeaderSize, 2) == kFixedSize + 1,
          "the answer is malformed");
  const std::uint64_t flags = readLittle(message, kSmbHeaderSize + 2, 2);
  const std::size_t offset = readLittle(message, kSmbHeaderSize + 4, 2);
  const std::size_t size = readLittle(message, kSmbHeaderSize + 6, 2);
  // Without a message the offset is anything.
  require(size == 0 || (offset >= kSmbHeaderSize + kFixedSize && offset <= message.size() &&
                        size <= message.size() - offset),
          "the answer has its security message outside of it");
  return {.guest = (flags & kGuest) != 0,
          .anonymous = (flags & kAnonymous) != 0,
          .token = std::string(size == 0 ? std::string_view() : message.substr(offset, size))};
}

std::string encodeSessionSetup(std::uint64_t messageId, std::uint64_t sessionId,
                               std::string_view token) {
  constexpr std::size_t kTokenOffset = kSmbHeaderSize + 24;
  constexpr unsigned kSigningRequired = 2;
  require(token.size() <= 0xffff, "the security message is too long");
  LittleEndian message = requestHeader(SmbCommand::kSessionSetup, messageId, sessionId);
  message.put(25, 2).put(0, 1).put(kSigningRequired, 1).put(0, 4).put(0, 4);
  message.put(kTokenOffset, 2).put(token.size(), 2).put(0, 8);
  return message.append(token).bytes();
}

}  // namespace tolk
