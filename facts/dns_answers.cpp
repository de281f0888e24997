// The reply's records by its question's type.
#include "facts/dns_answers.h"

#include <algorithm>
#include <utility>

#include "tolk/net/dns_records.h"

namespace joinscope::facts {
namespace {

constexpr std::size_t kMostRecords = 2000;  // a forged answer must not fill the memory

void takeRecords(const tolk::DnsQuestion& question, const std::string& message, DnsResult& out) {
  std::vector<std::string>& records = out.answer.records;
  switch (question.type) {
    case tolk::DnsType::a:
    case tolk::DnsType::aaaa:
      records = tolk::readAddressRecords(message);
      break;
    case tolk::DnsType::soa:
      if (std::string primary = tolk::readAuthority(message); !primary.empty()) {
        records.push_back(std::move(primary));
      }
      break;
    case tolk::DnsType::ptr:
      out.list = tolk::readPointerRecords(message);
      for (const tolk::HostPort& entry : out.list) records.push_back(entry.host);
      break;
    case tolk::DnsType::srv:
      out.list = tolk::readServiceRecords(message);
      for (const tolk::HostPort& entry : out.list) {
        records.push_back(entry.host + ":" + std::to_string(entry.port));
      }
      break;
  }
  if (out.list.size() > kMostRecords) out.list.resize(kMostRecords);
  if (records.size() > kMostRecords) records.resize(kMostRecords);
  std::ranges::sort(records);
}

DnsResult resultOf(const tolk::DnsQuestion& question, const Asked& asked,
                   const tolk::DnsReply& reply) {
  DnsResult result;
  result.answer.asked = asked;
  result.answer.truncated = reply.truncated || asked.code == tolk::kCutAnswer;
  if (!asked.answered()) return result;
  result.answer.status = tolk::dnsCodeName(reply.code);
  const Asked read = ask([&] { takeRecords(question, reply.message, result); });
  if (!read.answered()) result.answer.asked = ofExchange(read);
  return result;
}

}  // namespace

void DnsQuestions::ask(const tolk::DnsQuestion& question, Then then) {
  if (open_ < kTogether) {
    start(question, then);
  } else {
    later_.emplace_back(question, std::move(then));
  }
}

void DnsQuestions::start(const tolk::DnsQuestion& question, const Then& then) {
  ++open_;
  waits_.add([&] { return tolk::startDnsQuestion(waits_.loop(), question, limit_); },
             [this, question, then](const Asked& asked, const tolk::DnsReply& reply) {
               --open_;
               if (!later_.empty()) {
                 const auto [next, after] = std::move(later_.front());
                 later_.pop_front();
                 start(next, after);
               }
               then(resultOf(question, asked, reply));
             });
}

}  // namespace joinscope::facts
