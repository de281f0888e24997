// libresolv's parser (ns_initparse(3)) does the reading.
#include "tolk/net/dns_records.h"

#include <arpa/nameser.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <tuple>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr std::size_t kServiceHead = 6;  // priority, weight and port before the target

// Empty for a damaged name and for the root.
std::string readName(const ns_msg& message, const unsigned char* at) {
  std::array<char, NS_MAXDNAME> name{};
  if (ns_name_uncompress(ns_msg_base(message), ns_msg_end(message), at, name.data(), name.size()) <
      0) {
    return {};
  }
  const std::string text = toLower(name.data());
  return text == "." ? std::string() : text;
}

std::uint16_t readNumber(const unsigned char* at) {
  return static_cast<std::uint16_t>(at[0] << 8 | at[1]);
}

std::optional<HostPort> readRecord(const ns_msg& message, const ns_rr& record, ns_type type) {
  HostPort entry;
  const unsigned char* data = ns_rr_rdata(record);
  if (type == ns_t_srv) {
    if (ns_rr_rdlen(record) <= kServiceHead) return std::nullopt;
    entry.priority = readNumber(data);
    entry.weight = readNumber(data + 2);
    entry.port = readNumber(data + 4);
    data += kServiceHead;
  }
  entry.host = readName(message, data);
  if (entry.host.empty()) return std::nullopt;
  return entry;
}

HostPortList readRecords(std::string_view text, ns_type type) {
  ns_msg message;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): bytes to bytes
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  if (ns_initparse(bytes, static_cast<int>(text.size()), &message) < 0) {
    throw BadDataException("DNS gave a damaged answer");
  }
  HostPortList list;
  const int count = ns_msg_count(message, ns_s_an);
  for (int i = 0; i < count; ++i) {
    ns_rr record;
    if (ns_parserr(&message, ns_s_an, i, &record) < 0) break;
    if (ns_rr_type(record) != type) continue;
    if (auto entry = readRecord(message, record, type)) list.push_back(std::move(*entry));
  }
  return list;
}

}  // namespace

HostPortList readServiceRecords(std::string_view message) {
  HostPortList list = readRecords(message, ns_t_srv);
  sortRecords(list);
  return list;
}

HostPortList readPointerRecords(std::string_view message) {
  return readRecords(message, ns_t_ptr);
}

void sortRecords(HostPortList& list) {
  std::stable_sort(list.begin(), list.end(), [](const HostPort& left, const HostPort& right) {
    return std::tie(left.priority, right.weight, left.host, left.port) <
           std::tie(right.priority, left.weight, right.host, right.port);
  });
}

}  // namespace tolk
