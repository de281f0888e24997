#include "tolk/ntlm/ntlm_messages.h"

#include <cstddef>

#include "tolk/base/exceptions.h"
#include "tolk/net/smb_messages.h"

namespace tolk {
namespace {

constexpr std::string_view kSignature("NTLMSSP\0", 8);

// A head whose fields point into the payload behind it.
class Message {
 public:
  Message(unsigned type, std::size_t headSize) : headSize_(headSize) {
    head_.append(kSignature).put(type, 4);
  }
  Message& field(std::string_view bytes) {
    if (bytes.size() > 0xffff) throw TOLKException("A name or response is too long for NTLM");
    head_.put(bytes.size(), 2).put(bytes.size(), 2).put(headSize_ + payload_.size(), 4);
    payload_ += bytes;
    return *this;
  }
  Message& number(std::uint64_t value, unsigned bytes) {
    head_.put(value, bytes);
    return *this;
  }
  [[nodiscard]] std::string bytes() const { return head_.bytes() + payload_; }

 private:
  LittleEndian head_;
  std::size_t headSize_;
  std::string payload_;
};

}  // namespace

std::string encodeNtlmNegotiate(std::uint32_t flags, std::string_view domain,
                                std::string_view workstation) {
  return Message(1, 32).number(flags, 4).field(domain).field(workstation).bytes();
}

std::string encodeNtlmAuthenticate(const NtlmAuthenticate& content) {
  constexpr unsigned kVersion = 8;
  constexpr unsigned kIntegrityCode = 16;
  Message message(3, kNtlmIntegrityOffset + kIntegrityCode);
  message.field(content.lmResponse).field(content.ntResponse);
  message.field(content.domain).field(content.user).field(content.workstation);
  message.field(content.encryptedKey).number(content.flags, 4);
  return message.number(0, kVersion).number(0, kIntegrityCode).bytes();
}

}  // namespace tolk
