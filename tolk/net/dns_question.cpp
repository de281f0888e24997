// A channel of its own for each question, so that the status is that server's alone.
#include "tolk/net/dns_question.h"

#include <arpa/inet.h>
#include <arpa/nameser.h>

#include <cerrno>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/net/dns_channel.h"
#include "tolk/net/host_query.h"
#include "tolk/net/limits.h"

namespace tolk {
namespace {

constexpr std::size_t kHeader = 12;  // RFC 1035, 4.1.1

class QuestionTask final : public Task<DnsReply> {
 public:
  QuestionTask(EventLoop& loop, DnsQuestion question, std::chrono::milliseconds limit)
      : Task(loop, Clock::now() + limit), question_(std::move(question)), limit_(limit) {}
  ~QuestionTask() override { channel_.reset(); }  // which calls onAnswer() once more

 private:
  static void onAnswer(void* self, int status, int /*timeouts*/, unsigned char* bytes,
                       int size) noexcept {
    auto& task = *static_cast<QuestionTask*>(self);
    task.status_ = status;
    if (bytes == nullptr || size <= 0) return;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): bytes to bytes
    task.message_.assign(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
  }

  void watch(std::vector<pollfd>& out) override {
    if (channel_) channel_->watch(out);
  }
  Clock::time_point wakeAt() override {
    return channel_ ? channel_->wakeAt() : Clock::time_point::min();
  }

  void advance(std::span<const pollfd> ready) override {
    if (channel_) {
      channel_->process(ready);
    } else {
      ask();
    }
    if (status_) conclude(*status_);
  }

  void ask() {
    // A C string would end at the NUL and name something else.
    if (question_.name.find('\0') != std::string::npos) return conclude(ARES_EBADNAME);
    NameServer server;
    server.address = question_.server;
    server.edns = false;
    ResolverSettings settings = readResolverSettings();
    settings.searchDomains.clear();
    channel_ = std::make_unique<DnsChannel>(server, settings, limit_, question_.transport);
    ares_query(channel_->get(), question_.name.c_str(), ns_c_in, static_cast<int>(question_.type),
               &onAnswer, this);
  }

  [[nodiscard]] bool truncated() const {
    return question_.transport == Transport::udp && channel_ && channel_->usedTcp();
  }

  void conclude(int status) {
    if (message_.size() >= kHeader) {
      const int code = static_cast<unsigned char>(message_[3]) & 0x0f;
      return finish({.code = code, .truncated = truncated(), .message = std::move(message_)});
    }
    if (status == ARES_EBADNAME) {
      throw BadDataException("\"" + shownName(question_.name) + "\" is not a DNS name", status);
    }
    if (truncated()) throwCut(ares_strerror(status));
    if (status == ARES_ETIMEOUT) expire();
    if (status == ARES_ECONNREFUSED) {
      const bool udp = question_.transport == Transport::udp;
      throw IOException(question_.server + " refuses port 53/" + (udp ? "udp" : "tcp"),
                        ECONNREFUSED);
    }
    throw DNSUnavailableException(question_.server + ": " + ares_strerror(status), status);
  }

  [[noreturn]] void throwCut(const std::string& reason) const {
    throw IOException(question_.server + " cut its answer by UDP and gave none by TCP: " + reason,
                      kCutAnswer);
  }

  void expire() override {
    if (truncated()) throwCut("no answer within " + limitText(limit_));
    throw TimeoutException(question_.server + " did not answer within " + limitText(limit_),
                           ETIMEDOUT);
  }

  DnsQuestion question_;
  std::chrono::milliseconds limit_;
  std::optional<int> status_;
  std::string message_;
  std::unique_ptr<DnsChannel> channel_;
};

}  // namespace

Pending<DnsReply> startDnsQuestion(EventLoop& loop, const DnsQuestion& question,
                                   std::chrono::milliseconds limit) {
  return startTask<QuestionTask>(loop, question, limit);
}

std::string dnsCodeName(int code) {
  static constexpr std::array kNames{"NOERROR", "FORMERR", "SERVFAIL", "NXDOMAIN",
                                     "NOTIMP",  "REFUSED", "YXDOMAIN", "YXRRSET",
                                     "NXRRSET", "NOTAUTH", "NOTZONE"};
  const auto index = static_cast<std::size_t>(code);
  return code >= 0 && index < kNames.size() ? kNames.at(index) : std::to_string(code);
}

std::string reverseName(const std::string& address) {
  in_addr binary{};
  if (inet_pton(AF_INET, address.c_str(), &binary) != 1) {
    throw BadDataException("\"" + shownName(address) + "\" is not an IPv4 address");
  }
  const std::uint32_t value = ntohl(binary.s_addr);
  std::string name;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    name += std::to_string((value >> shift) & 0xffU) + '.';
  }
  return name + "in-addr.arpa";
}

}  // namespace tolk
