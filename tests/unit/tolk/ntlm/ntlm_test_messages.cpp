#include "tests/unit/tolk/ntlm/ntlm_test_messages.h"

#include <stdexcept>

#include "tests/support/hex.h"
#include "tolk/net/smb_messages.h"

namespace tolk::test {

std::string avPairs(const std::vector<std::pair<unsigned, std::string>>& pairs) {
  LittleEndian list;
  for (const auto& [id, value] : pairs) list.put(id, 2).put(value.size(), 2).append(value);
  return list.put(0, 4).bytes();
}

std::string challengeMessage(const std::string& targetInfo, std::uint32_t flags) {
  constexpr std::size_t kHead = 56;
  LittleEndian message;
  message.append({"NTLMSSP\0", 8}).put(2, 4).put(0, 2).put(0, 2).put(kHead, 4).put(flags, 4);
  message.append(fromHex("0123456789abcdef")).put(0, 8);
  message.put(targetInfo.size(), 2).put(targetInfo.size(), 2).put(kHead, 4).put(0, 8);
  return message.append(targetInfo).bytes();
}

std::string fieldAt(const std::string& message, std::size_t at) {
  const std::size_t size = readLittle(message, at, 2);
  const std::size_t offset = readLittle(message, at + 4, 4);
  if (offset > message.size() || size > message.size() - offset) {
    throw std::out_of_range("a field points outside of the message");
  }
  return message.substr(offset, size);
}

}  // namespace tolk::test
