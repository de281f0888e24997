// Offsets and lengths are checked against the message before anything is read; nothing behind its
// end is.
#include "tolk/ntlm/ntlm_challenge.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/net/smb_messages.h"
#include "tolk/ntlm/ntlm_text.h"

namespace tolk {
namespace {

constexpr std::string_view kSignature("NTLMSSP\0", 8);
constexpr std::size_t kHeadSize = 48;  // up to and with the fields of the target info

// Identifiers of AV pairs.
constexpr std::uint64_t kEndOfList = 0;
constexpr std::uint64_t kAvNetbiosDomain = 2;
constexpr std::uint64_t kAvDnsDomain = 4;
constexpr std::uint64_t kAvFlags = 6;
constexpr std::uint64_t kAvTime = 7;
constexpr std::size_t kPairHead = 4;

[[noreturn]] void refuse(const char* reason) {
  throw BadDataException(std::string("The NTLM challenge ") + reason);
}

// One pair of a list; the value lies at `value` for `size` bytes.
struct AvPair {
  std::uint64_t id = 0;
  std::size_t value = 0;
  std::size_t size = 0;
};

AvPair pairAt(std::string_view list, std::size_t at) {
  if (list.size() - at < kPairHead) refuse("has a list of AV pairs without its end");
  const AvPair pair{readLittle(list, at, 2), at + kPairHead, readLittle(list, at + 2, 2)};
  if (pair.size > list.size() - pair.value) refuse("has an AV pair that is cut short");
  return pair;
}

// Calls `use` with each pair before the end of the list; returns where that end lies.
template <typename Use>
std::size_t forEachPair(std::string_view list, const Use& use) {
  std::size_t at = 0;
  for (AvPair pair = pairAt(list, at); pair.id != kEndOfList; pair = pairAt(list, at)) {
    use(pair);
    at = pair.value + pair.size;
  }
  return at;
}

std::string nameOf(std::string_view list, const AvPair& pair) {
  std::optional<std::string> name = fromUtf16(list.substr(pair.value, pair.size));
  if (!name) refuse("has a domain name that is not UTF-16 text");
  return *std::move(name);
}

NtlmOctets timeOf(std::string_view list, const AvPair& pair) {
  NtlmOctets time{};
  if (pair.size != time.size()) refuse("has a time stamp of a wrong size");
  std::copy_n(list.data() + pair.value, time.size(), time.begin());
  return time;
}

void readTargetInfo(std::string_view message, NtlmChallenge& challenge) {
  const std::size_t size = readLittle(message, 40, 2);
  const std::size_t offset = readLittle(message, 44, 4);
  if (offset > message.size() || size > message.size() - offset) {
    refuse("has its target information outside of it");
  }
  const std::string_view list = message.substr(offset, size);
  const std::size_t end = forEachPair(list, [&](const AvPair& pair) {
    if (pair.id == kAvFlags && pair.size != 4) refuse("has AV flags of a wrong size");
    if (pair.id == kAvNetbiosDomain) challenge.netbiosDomain = nameOf(list, pair);
    if (pair.id == kAvDnsDomain) challenge.dnsDomain = nameOf(list, pair);
    if (pair.id == kAvTime) challenge.time = timeOf(list, pair);
  });
  challenge.targetInfo = list.substr(0, end + kPairHead);
}

}  // namespace

NtlmChallenge parseNtlmChallenge(std::string_view message) {
  if (message.size() < kHeadSize) refuse("is cut short");
  if (!message.starts_with(kSignature) || readLittle(message, 8, 4) != 2) {
    refuse("is no challenge message");
  }
  NtlmChallenge challenge;
  challenge.flags = static_cast<std::uint32_t>(readLittle(message, 20, 4));
  if ((challenge.flags & NtlmFlag::kUnicode) == 0) refuse("does not offer Unicode");
  std::copy_n(message.data() + 24, challenge.serverChallenge.size(),
              challenge.serverChallenge.begin());
  if ((challenge.flags & NtlmFlag::kTargetInfo) != 0) readTargetInfo(message, challenge);
  return challenge;
}

std::string withIntegrityFlag(std::string_view targetInfo) {
  constexpr std::uint64_t kIntegrity = 2;
  std::string list(targetInfo);
  bool present = false;
  const std::size_t end = forEachPair(targetInfo, [&](const AvPair& pair) {
    if (pair.id != kAvFlags) return;
    present = true;
    list[pair.value] = static_cast<char>(readLittle(targetInfo, pair.value, 1) | kIntegrity);
  });
  if (present) return list;
  return list.insert(end, LittleEndian().put(kAvFlags, 2).put(4, 2).put(kIntegrity, 4).bytes());
}

}  // namespace tolk
