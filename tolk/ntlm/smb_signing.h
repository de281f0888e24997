// What shows that an SMB answer comes from a server that knows the session key (MS-SMB2 3.1.4.1 and
// 3.1.4.2): signatures, and the hash that ties them to the messages before.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "tolk/ntlm/secret.h"

namespace tolk {

/// The pre-authentication integrity hash of dialect 3.1.1 (MS-SMB2 3.2.5.2 and 3.2.5.3): each
/// message of a logon, without its frame, is hashed together with the value before it.
class SmbMessageChain {
 public:
  void add(std::string_view message);
  [[nodiscard]] std::string_view value() const noexcept;

 private:
  std::array<std::uint8_t, 64> value_{};
};

/// Whether `message` (a header at least) carries the signature that a session with this key makes
/// in `dialect` (MS-SMB2 2.2.4). `chain` counts in dialect 3.1.1 alone. Says nothing of the flag
/// that announces a signature.
bool smbSignatureHolds(std::string_view message, std::uint16_t dialect, const NtlmKey& sessionKey,
                       const SmbMessageChain& chain);

}  // namespace tolk
