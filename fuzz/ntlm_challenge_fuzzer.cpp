// The reader of NTLM challenges against arbitrary bytes. Besides not crashing it must keep the list
// of AV pairs within the message, and the client must be able to answer whatever it accepts.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/ntlm/ntlm_challenge.h"
#include "tolk/ntlm/ntlm_ssp.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void checkList(const tolk::NtlmChallenge& challenge, std::size_t size) {
  require(challenge.targetInfo.size() <= size);
  if ((challenge.flags & tolk::NtlmFlag::kTargetInfo) == 0) return;
  const std::string flagged = tolk::withIntegrityFlag(challenge.targetInfo);
  require(flagged.size() <= challenge.targetInfo.size() + 8);
  require(tolk::withIntegrityFlag(flagged) == flagged);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string message(reinterpret_cast<const char*>(data), size);
  try {
    checkList(tolk::parseNtlmChallenge(message), size);
    tolk::NtlmSSP client("", "", "alice", tolk::Shredder("Password"), 0xe008b297, 2, false);
    client.setMsgType2(message);
    require(client.getMsgType3().size() >= 88);
  } catch (const tolk::BadDataException&) {
  } catch (const tolk::TOLKException&) {
  }
  return 0;
}
