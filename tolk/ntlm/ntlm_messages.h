// The two messages that the client sends (MS-NLMP 2.2.1.1 and 2.2.1.3).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tolk {

/// Type 1. Domain and workstation go out as they are, in the client's eight-bit character set;
/// usually both are empty. Throws TOLKException when one is longer than 65535 bytes.
std::string encodeNtlmNegotiate(std::uint32_t flags, std::string_view domain,
                                std::string_view workstation);

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

/// Type 3, its integrity code all zero. Throws TOLKException when a field is longer than 65535
/// bytes.
std::string encodeNtlmAuthenticate(const NtlmAuthenticate& content);

/// Where the 16 bytes of the integrity code lie in a type 3 message.
constexpr std::size_t kNtlmIntegrityOffset = 72;

}  // namespace tolk
