// The SMB 2 messages of a logon behind the negotiate request (MS-SMB2 2.2): session set-up and the
// answers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tolk {

/// Commands of the header.
struct SmbCommand {
  static constexpr std::uint16_t kNegotiate = 0;
  static constexpr std::uint16_t kSessionSetup = 1;
};

/// Status values (MS-ERREF 2.3) that steer a logon.
struct SmbStatus {
  static constexpr std::uint32_t kSuccess = 0;
  static constexpr std::uint32_t kPending = 0x00000103;
  static constexpr std::uint32_t kMoreProcessingRequired = 0xC0000016;
};

/// What is looked at of an answer's header.
struct SmbHeader {
  std::uint32_t status = 0;
  std::uint16_t command = 0;
  std::uint16_t credits = 0;
  std::uint64_t messageId = 0;
  std::uint64_t sessionId = 0;
  bool hasSignature = false;
};

/// Reads the header of an answer. Throws BadDataException when the bytes are no answer of SMB 2.
SmbHeader decodeSmbHeader(std::string_view message);

/// The dialect that a successful answer to NEGOTIATE chooses. Throws BadDataException when the
/// answer is malformed or the dialect was not offered.
std::uint16_t decodeNegotiateAnswer(std::string_view message);

/// The answer to SESSION_SETUP.
struct SmbSessionAnswer {
  bool guest = false;      ///< the server took the user for a guest
  bool anonymous = false;  ///< the server has logged on nobody
  std::string token;       ///< the security message
};

/// Reads such an answer whose status is success or "more processing required". Throws
/// BadDataException when it is cut short or points outside of itself.
SmbSessionAnswer decodeSessionAnswer(std::string_view message);

/// SESSION_SETUP with a bare security message. It requires signing, so that a server of any dialect
/// signs the answer that ends the logon (MS-SMB2 3.3.5.5.3). Throws BadDataException when the
/// message is longer than 65535 bytes.
std::string encodeSessionSetup(std::uint64_t messageId, std::uint64_t sessionId,
                               std::string_view token);

}  // namespace tolk
