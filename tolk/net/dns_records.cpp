// libresolv's parser (ns_initparse(3)) does the reading.
#include "tolk/net/dns_records.h"

#include <arpa/inet.h>
#include <arpa/nameser.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
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

/// Hands each record of a type in a section of `text` to `take`.
void forEachRecord(std::string_view text, ns_sect section, ns_type type,
                   const std::function<void(const ns_msg&, const ns_rr&)>& take) {
  ns_msg message;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): bytes to bytes
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  if (ns_initparse(bytes, static_cast<int>(text.size()), &message) < 0) {
    throw BadDataException("DNS gave a damaged answer");
  }
  const int count = ns_msg_count(message, section);
  for (int i = 0; i < count; ++i) {
    ns_rr record;
    if (ns_parserr(&message, section, i, &record) < 0) break;
    if (ns_rr_type(record) == type) take(message, record);
  }
}

HostPortList readRecords(std::string_view text, ns_type type) {
  HostPortList list;
  forEachRecord(text, ns_s_an, type, [&](const ns_msg& message, const ns_rr& record) {
    if (auto entry = readRecord(message, record, type)) list.push_back(std::move(*entry));
  });
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

std::vector<std::string> readAddressRecords(std::string_view message) {
  std::vector<std::string> addresses;
  const auto read = [&](ns_type type, int family, int size) {
    forEachRecord(message, ns_s_an, type, [&](const ns_msg& /*whole*/, const ns_rr& record) {
      std::array<char, INET6_ADDRSTRLEN> text{};
      if (ns_rr_rdlen(record) != size) return;
      inet_ntop(family, ns_rr_rdata(record), text.data(), text.size());
      addresses.emplace_back(text.data());
    });
  };
  read(ns_t_a, AF_INET, NS_INADDRSZ);
  read(ns_t_aaaa, AF_INET6, NS_IN6ADDRSZ);
  return addresses;
}

std::string readAuthority(std::string_view message) {
  std::string name;
  for (const ns_sect section : {ns_s_an, ns_s_ns}) {
    forEachRecord(message, section, ns_t_soa, [&](const ns_msg& whole, const ns_rr& record) {
      if (name.empty()) name = readName(whole, ns_rr_rdata(record));
    });
  }
  return name;
}

void sortRecords(HostPortList& list) {
  std::stable_sort(list.begin(), list.end(), [](const HostPort& left, const HostPort& right) {
    return std::tie(left.priority, right.weight, left.host, left.port) <
           std::tie(right.priority, left.weight, right.host, right.port);
  });
}

}  // namespace tolk
