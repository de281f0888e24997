// The readers of a logon's SMB answers against arbitrary bytes: besides not crashing, a security
// message must lie within its answer, and no signature can be right by accident.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/ntlm/smb_session_messages.h"
#include "tolk/ntlm/smb_signing.h"

namespace {

constexpr std::array<std::uint16_t, 3> kDialects{0x0210, 0x0302, 0x0311};  // one of each kind

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string message(reinterpret_cast<const char*>(data), size);
  try {
    (void)tolk::decodeSmbHeader(message);
    tolk::NtlmKey key;
    key->fill(0x5a);
    for (const std::uint16_t dialect : kDialects) {
      require(!tolk::smbSignatureHolds(message, dialect, key, {}));
    }
  } catch (const tolk::BadDataException&) {
  }
  try {
    require(tolk::decodeSessionAnswer(message).token.size() < size);
  } catch (const tolk::BadDataException&) {
  }
  try {
    require(tolk::decodeNegotiateAnswer(message) != 0);
  } catch (const tolk::BadDataException&) {
  }
  return 0;
}
