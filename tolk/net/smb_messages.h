// What every SMB 2 conversation begins with (MS-SMB2 2.2): the frame on TCP, the header's size and
// the negotiate request. The port probe and the logon share it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tolk {

constexpr std::size_t kSmbFrameHead = 4;    ///< a zero byte and the length, MS-SMB2 2.1
constexpr std::size_t kSmbHeaderSize = 64;  ///< MS-SMB2 2.2.1.2
constexpr std::string_view kSmbProtocolId("\xFESMB", 4);

/// Appends numbers with the least significant byte first.
class LittleEndian {
 public:
  LittleEndian& put(std::uint64_t value, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i) {
      out_ += static_cast<char>(i < 8 ? value >> (8 * i) & 0xff : 0);
    }
    return *this;
  }
  LittleEndian& append(std::string_view bytes) {
    out_ += bytes;
    return *this;
  }
  [[nodiscard]] const std::string& bytes() const noexcept { return out_; }

 private:
  std::string out_;
};

/// The number of `count` bytes (at most 8) at `at`, which must lie within `bytes`.
std::uint64_t readLittle(std::string_view bytes, std::size_t at, unsigned count);

/// A message with its length in front, as it goes over TCP. Less than 16 MiB.
std::string smbFrame(std::string_view message);

/// A NEGOTIATE request (MS-SMB2 2.2.3) for all dialects from 2.0.2 to 3.1.1, message number 0,
/// which asks for one credit.
std::string smbNegotiateRequest();

}  // namespace tolk
