// The server's challenge (MS-NLMP 2.2.1.2) and the list of AV pairs in it (2.2.2.1).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tolk/ntlm/ntlm_crypto.h"

namespace tolk {

/// Flags of the messages, MS-NLMP 2.2.2.5; those that are looked at.
struct NtlmFlag {
  static constexpr std::uint32_t kUnicode = 0x00000001;
  static constexpr std::uint32_t kSign = 0x00000010;
  static constexpr std::uint32_t kSeal = 0x00000020;
  static constexpr std::uint32_t kTargetInfo = 0x00800000;
  static constexpr std::uint32_t kKeyExchange = 0x40000000;
};

/// What a challenge says.
struct NtlmChallenge {
  std::uint32_t flags = 0;
  NtlmOctets serverChallenge{};
  std::string targetInfo;     ///< as the server sent it, up to and with the end of the list
  std::string netbiosDomain;  ///< of the server; both names "" when it does not say
  std::string dnsDomain;
  std::optional<NtlmOctets> time;  ///< AV pair MsvAvTimestamp
};

/// Reads a challenge. Throws BadDataException when it is cut short, points outside of itself, or
/// does not offer Unicode.
NtlmChallenge parseNtlmChallenge(std::string_view message);

/// The list with bit 2 of MsvAvFlags set: "the response carries a message integrity code". The pair
/// is added where there is none. `targetInfo` is that of a challenge.
std::string withIntegrityFlag(std::string_view targetInfo);

}  // namespace tolk
