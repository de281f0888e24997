#include "tests/unit/tolk/net/cldap_messages.h"

#include "tests/unit/tolk/net/dns_zone.h"

namespace tolk::test {
namespace {

constexpr unsigned char kSequence = 0x30;
constexpr unsigned char kSet = 0x31;
constexpr unsigned char kText = 0x04;

std::string little(std::uint32_t value, unsigned bytes) {
  std::string out;
  for (unsigned i = 0; i < bytes; ++i) out += static_cast<char>(value >> (8 * i) & 0xff);
  return out;
}

}  // namespace

std::string element(unsigned char tag, const std::string& content) {
  std::string head{static_cast<char>(tag)};
  const std::size_t size = content.size();
  if (size < 128) {
    head += static_cast<char>(size);
  } else {
    head += {'\x82', static_cast<char>(size >> 8 & 0xff), static_cast<char>(size & 0xff)};
  }
  return head + content;
}

std::string messageIdOf(const std::string& request) {
  const auto length = static_cast<unsigned char>(request.at(1));
  const std::size_t start = length < 128 ? 2 : 2U + (length & 0x7fU);
  return request.substr(start, 2U + static_cast<unsigned char>(request.at(start + 1)));
}

std::string entryMessage(const std::string& id, const std::string& dn,
                         const Attributes& attributes) {
  std::string list;
  for (const auto& [name, values] : attributes) {
    std::string set;
    for (const std::string& value : values) set += element(kText, value);
    list += element(kSequence, element(kText, name) + element(kSet, set));
  }
  return element(kSequence, id + element(0x64, element(kText, dn) + element(kSequence, list)));
}

std::string doneMessage(const std::string& id, int code) {
  const std::string result = element(0x0a, std::string(1, static_cast<char>(code)));
  return element(kSequence, id + element(0x65, result + element(kText, "") + element(kText, "")));
}

std::string netlogonRecord(const NetlogonFields& fields) {
  return little(fields.operation, 2) + little(0, 2) + little(fields.flags, 4) +
         std::string(16, '\x11') + wireName(fields.forest) + wireName(fields.domain) +
         wireName(fields.host) + wireName("LAB") + wireName("DC1") + wireName("") +
         wireName(fields.dcSite) + wireName(fields.clientSite) + little(5, 4) +
         little(0xffffffff, 4);
}

std::string netlogonReply(const std::string& request, const NetlogonFields& fields) {
  const std::string id = messageIdOf(request);
  return entryMessage(id, "", {{"netlogon", {netlogonRecord(fields)}}}) + doneMessage(id);
}

}  // namespace tolk::test
