// The answer is a row of names compressed as in DNS, read with every step bounded.
#include "tolk/net/netlogon.h"

#include <algorithm>
#include <cstddef>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/net/cldap.h"
#include "tolk/net/mapped_task.h"

namespace tolk {
namespace {

constexpr std::uint16_t kResponseEx = 23;     // LOGON_SAM_LOGON_RESPONSE_EX, MS-ADTS 6.3.1.3
constexpr std::uint16_t kUserUnknownEx = 25;  // LOGON_SAM_USER_UNKNOWN_EX

class Reader {
 public:
  explicit Reader(std::string_view bytes) noexcept : bytes_(bytes) {}

  std::uint32_t number(unsigned count) {
    std::uint32_t value = 0;
    for (unsigned i = 0; i < count; ++i) value |= std::uint32_t{byte(at_ + i)} << (8 * i);
    at_ += count;
    return value;
  }

  // The versions of the answer stand in its last eight bytes, behind whatever they say is there.
  [[nodiscard]] std::uint32_t version() const {
    constexpr std::size_t kTail = 8;
    if (bytes_.size() < at_ + kTail) return 0;
    return Reader(bytes_.substr(bytes_.size() - kTail)).number(4);
  }

  void copy(std::array<std::uint8_t, 16>& out) {
    for (std::uint8_t& item : out) item = byte(at_++);
  }

  // Labels, each behind its length, up to an empty one; two bytes with the top bits set stand for
  // the rest of an earlier name. Only pointers to before the place that they are read from are
  // followed, so that a name always ends.
  std::string name() {
    std::string text;
    std::size_t at = at_;
    std::size_t lowest = at_;
    bool jumped = false;
    while (const unsigned head = byte(at)) {
      if (head >= kPointer) {
        const std::size_t target = (head & ~kPointer) << 8U | byte(at + 1);
        if (!jumped) at_ = at + 2;
        jumped = true;
        if (target >= lowest) throw BadDataException("Netlogon answer: pointer not backwards");
        at = lowest = target;
        continue;
      }
      if (head > kLongestLabel) throw BadDataException("Netlogon answer: unknown label");
      if (!text.empty()) text += '.';
      for (unsigned i = 1; i <= head; ++i) text += static_cast<char>(byte(at + i));
      if (text.size() > kLongestName) throw BadDataException("Netlogon answer: name too long");
      at += head + 1;
    }
    if (!jumped) at_ = at + 1;
    return text;
  }

 private:
  static constexpr unsigned kPointer = 0xc0;
  static constexpr unsigned kLongestLabel = 63;
  static constexpr std::size_t kLongestName = 255;

  [[nodiscard]] unsigned char byte(std::size_t at) const {
    if (at >= bytes_.size()) throw BadDataException("Netlogon answer: cut short");
    return static_cast<unsigned char>(bytes_[at]);
  }

  std::string_view bytes_;
  std::size_t at_ = 0;
};

constexpr std::uint32_t kWithAddress = 0x8;  // NETLOGON_NT_VERSION_5EX_WITH_IP: never asked for
constexpr std::uint32_t kWithClosestSite = 0x10;  // NETLOGON_NT_VERSION_WITH_CLOSEST_SITE

// The four bytes of NtVer, little-endian: versions 5 and 5EX, and the closest site wanted
// (MS-ADTS 6.3.1.1).
const std::string& netlogonVersion() {
  static const std::string version("\x16\0\0\0", 4);
  return version;
}

NetlogonAnswer readAnswer(const std::vector<CldapEntry>& entries, const std::string& domain) {
  for (const CldapEntry& entry : entries) {
    for (const auto& [name, values] : entry.attributes) {
      if (equalsIgnoringCase(name, "netlogon") && !values.empty()) {
        return parseNetlogonAnswer(values.front());
      }
    }
  }
  throw NotFoundException(domain.empty() ? "The server is no domain controller"
                                         : "The server is no controller of " + domain);
}

}  // namespace

NetlogonAnswer parseNetlogonAnswer(std::string_view value) {
  Reader reader(value);
  NetlogonAnswer answer;
  answer.operation = static_cast<std::uint16_t>(reader.number(2));
  if (answer.operation != kResponseEx && answer.operation != kUserUnknownEx) {
    throw BadDataException("Netlogon answer: unknown operation " +
                           std::to_string(answer.operation));
  }
  reader.number(2);  // reserved
  answer.flags = reader.number(4);
  reader.copy(answer.guid);
  for (std::string* name :
       {&answer.forest, &answer.domain, &answer.host, &answer.netbiosDomain, &answer.netbiosHost,
        &answer.user, &answer.dcSite, &answer.clientSite}) {
    *name = reader.name();
  }
  const std::uint32_t version = reader.version();
  if ((version & kWithClosestSite) != 0 && (version & kWithAddress) == 0) {
    answer.nextClosestSite = reader.name();
  }
  return answer;
}

Pending<NetlogonAnswer> startNetlogonPing(EventLoop& loop, Transport transport,
                                          const sockaddr_in& address, const std::string& domain,
                                          std::chrono::milliseconds limit) {
  CldapRequest request;
  if (!domain.empty()) request.equalities.emplace_back("DnsDomain", domain);
  request.equalities.emplace_back("NtVer", netlogonVersion());
  request.attributes = {"Netlogon"};
  const auto search = transport == Transport::udp ? startCldapSearch : startStreamSearch;
  return startTask<MappedTask<std::vector<CldapEntry>, NetlogonAnswer>>(
      loop, search(loop, address, request, limit),
      [domain](const std::vector<CldapEntry>& entries) { return readAnswer(entries, domain); });
}

}  // namespace tolk
