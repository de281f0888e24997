#include "tests/unit/tolk/net/dns_zone.h"

#include <arpa/inet.h>
#include <arpa/nameser.h>

#include <algorithm>

#include "tolk/base/text.h"

namespace tolk::test {
namespace {

constexpr std::size_t kHeaderSize = 12;
constexpr std::size_t kUdpLimit = 512;

std::string big16(std::size_t value) {
  return {static_cast<char>(value >> 8 & 0xff), static_cast<char>(value & 0xff)};
}

// The question's name in lower case, and where the question ends.
std::pair<std::string, std::size_t> askedName(const std::string& query) {
  std::string name;
  std::size_t at = kHeaderSize;
  while (at < query.size() && query[at] != 0) {
    const auto size = static_cast<unsigned char>(query[at]);
    name += (name.empty() ? "" : ".") + query.substr(at + 1, size);
    at += size + 1U;
  }
  return {toLower(name), at + 5};
}

int askedType(const std::string& query) {
  const std::size_t end = askedName(query).second;
  return static_cast<unsigned char>(query[end - 3]);  // types above 255 are not asked here
}

}  // namespace

std::string wireName(const std::vector<std::string>& labels) {
  std::string wire;
  for (const std::string& label : labels) wire += static_cast<char>(label.size()) + label;
  return wire + '\0';
}

std::string wireName(const std::string& text) {
  return text.empty() ? wireName(std::vector<std::string>()) : wireName(split(text, '.'));
}

std::string serviceData(std::uint16_t priority, std::uint16_t weight, std::uint16_t port,
                        const std::string& wireTarget) {
  return big16(priority) + big16(weight) + big16(port) + wireTarget;
}

std::string addressData(const std::string& dotted) {
  in_addr address{};
  inet_pton(AF_INET, dotted.c_str(), &address);
  return {reinterpret_cast<const char*>(&address), sizeof address};
}

std::string dnsQuery(const std::string& name, int type) {
  return std::string("\x12\x34\x01\x00\x00\x01\x00\x00\x00\x00\x00\x00", kHeaderSize) +
         wireName(name) + big16(static_cast<std::size_t>(type)) + big16(ns_c_in);
}

std::string dnsAnswer(const std::string& query, int rcode,
                      const std::vector<std::pair<int, std::string>>& records,
                      std::size_t timeToLive) {
  std::string answer = query.substr(0, 2) + '\x81' + static_cast<char>(0x80 | rcode) + big16(1) +
                       big16(records.size()) + big16(0) + big16(0);
  answer += query.substr(kHeaderSize, askedName(query).second - kHeaderSize);
  for (const auto& [type, data] : records) {
    answer += "\xc0\x0c" + big16(static_cast<std::size_t>(type)) + big16(ns_c_in) + big16(0) +
              big16(timeToLive) + big16(data.size()) + data;
  }
  return answer;
}

void DnsZone::add(const std::string& name, int type, std::string data) {
  const std::lock_guard lock(mutex_);
  records_[name].emplace_back(type, std::move(data));
}

void DnsZone::misbehave(const std::string& name, int rcode) {
  const std::lock_guard lock(mutex_);
  faults_[name] = rcode;
}

void DnsZone::keepFor(std::size_t seconds) {
  const std::lock_guard lock(mutex_);
  timeToLive_ = seconds;
}

void DnsZone::clear() {
  const std::lock_guard lock(mutex_);
  records_.clear();
  faults_.clear();
}

void DnsZone::srv(const std::string& name, std::uint16_t priority, std::uint16_t weight,
                  std::uint16_t port, const std::string& target) {
  add(name, ns_t_srv, serviceData(priority, weight, port, wireName(target)));
}

void DnsZone::a(const std::string& name, const std::string& address) {
  add(name, ns_t_a, addressData(address));
}

void DnsZone::ptr(const std::string& name, const std::string& target) {
  add(name, ns_t_ptr, wireName(target));
}

std::string DnsZone::reply(const std::string& query, bool udp) const {
  if (query.size() < kHeaderSize + 5) return {};
  const std::lock_guard lock(mutex_);
  const std::string name = askedName(query).first;
  if (const auto fault = faults_.find(name); fault != faults_.end()) {
    return fault->second == kSilent ? std::string() : dnsAnswer(query, fault->second, {});
  }
  const auto found = records_.find(name);
  if (found == records_.end()) return dnsAnswer(query, ns_r_nxdomain, {});
  std::vector<std::pair<int, std::string>> matching;
  std::copy_if(found->second.begin(), found->second.end(), std::back_inserter(matching),
               [type = askedType(query)](const auto& record) { return record.first == type; });
  std::string answer = dnsAnswer(query, ns_r_noerror, matching, timeToLive_);
  if (!udp || answer.size() <= kUdpLimit) return answer;
  answer = dnsAnswer(query, ns_r_noerror, {});
  answer[2] = static_cast<char>(answer[2] | 2);  // truncated
  return answer;
}

void DnsZone::serve(LoopbackServer& server, const std::string& address) const {
  server.udp(
      [this](const std::string& query) -> std::vector<std::string> {
        std::string text = reply(query, true);
        if (text.empty()) return {};
        return {std::move(text)};
      },
      address, NS_DEFAULTPORT);
  server.tcp(
      [this](const std::string& received) -> std::optional<std::string> {
        if (received.size() < 2) return std::nullopt;
        const std::size_t size = static_cast<unsigned char>(received[0]) * 256U +
                                 static_cast<unsigned char>(received[1]);
        if (received.size() < size + 2) return std::nullopt;
        const std::string text = reply(received.substr(2, size), false);
        if (text.empty()) return std::nullopt;
        return big16(text.size()) + text;
      },
      address, NS_DEFAULTPORT);
}

}  // namespace tolk::test
