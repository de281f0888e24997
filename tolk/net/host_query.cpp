// /etc/hosts first, by a channel of its own; then the memory; then the name servers, for IPv4
// and, where there is none, for IPv6.
#include "tolk/net/host_query.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <array>
#include <cstring>

#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/dns_task.h"
#include "tolk/net/host_memory.h"
#include "tolk/net/mapped_task.h"

namespace tolk {
namespace {

constexpr const char* kLogger = "base.net.dns";

int hostError(int status) {
  switch (status) {
    case ARES_SUCCESS:
      return 0;
    case ARES_ENOTFOUND:
      return HOST_NOT_FOUND;
    case ARES_ENODATA:
      return NO_DATA;
    default:
      return NO_RECOVERY;
  }
}

HostAnswer failed(int error) {
  return {.error = error, .canonicalName = {}, .addresses = {}};
}

std::string addressText(const in6_addr& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  inet_ntop(AF_INET6, &address, text.data(), text.size());
  return text.data();
}

class HostTask final : public DnsTask<HostAnswer> {
 public:
  using DnsTask::DnsTask;
  ~HostTask() override { abandon(); }

 private:
  static void onAnswer(void* self, int status, int /*timeouts*/, ares_addrinfo* info) noexcept {
    const std::unique_ptr<ares_addrinfo, Releaser<ares_freeaddrinfo>> owned(info);
    auto& task = *static_cast<HostTask*>(self);
    if (owned != nullptr) task.readAnswer(*owned);
    task.answered(status);
  }

  void readAnswer(const ares_addrinfo& info);

  // Dotted addresses and what /etc/hosts knows.
  bool needsNoServer() override {
    // A C string would end at the NUL and name another host.
    if (name().empty() || name().find('\0') != std::string::npos) {
      finish(failed(HOST_NOT_FOUND));
      return true;
    }
    const DnsChannel hostsFile;
    ask(hostsFile.get());
    if (takeStatus() == ARES_SUCCESS) {
      finish(std::move(answer_));
    } else if (auto known = HostMemory::instance().find(name())) {
      finish(std::move(*known));
    }
    return done();
  }

  void ask(ares_channel channel) override {
    ares_addrinfo_hints hints{};
    hints.ai_flags = ARES_AI_CANONNAME;
    hints.ai_family = family_;
    ares_getaddrinfo(channel, name().c_str(), nullptr, &hints, &onAnswer, this);
  }

  // A host without an IPv4 address may have others, which is worth knowing.
  void conclude(int status, ares_channel channel) override {
    if (family_ == AF_INET6) {
      if (!otherAddresses_.empty()) {
        noteTrouble(kLogger, printable(name()) + " has IPv6 addresses only (" + otherAddresses_ +
                                 "), which this version does not use");
      }
      return finish(failed(NO_DATA));
    }
    if (status == ARES_ENODATA) {
      family_ = AF_INET6;
      return ask(channel);
    }
    if (status != ARES_SUCCESS) return finish(failed(hostError(status)));
    HostMemory::instance().remember(name(), answer_, timeToLive_);
    finish(std::move(answer_));
  }

  void giveUp(const DnsWalk& walk) override {
    if (family_ == AF_INET6) return finish(failed(NO_DATA));
    // Another lookup of the same name may have had more luck meanwhile.
    if (auto known = HostMemory::instance().find(name())) {
      walk.tellFaults();
      return finish(std::move(*known));
    }
    noteTrouble(kLogger, printable(walk.problem()));
    finish(failed(TRY_AGAIN));
  }

  int family_ = AF_INET;
  HostAnswer answer_;
  std::chrono::seconds timeToLive_{0};
  std::string otherAddresses_;  // IPv6, as text
};

void HostTask::readAnswer(const ares_addrinfo& info) {
  answer_ = {
      .error = 0, .canonicalName = info.name != nullptr ? info.name : name(), .addresses = {}};
  for (const ares_addrinfo_node* node = info.nodes; node != nullptr; node = node->ai_next) {
    if (node->ai_family == AF_INET) {
      sockaddr_in address{};
      std::memcpy(&address, node->ai_addr, sizeof address);
      answer_.addresses.push_back(address.sin_addr);
      timeToLive_ = std::chrono::seconds(node->ai_ttl);
    } else if (node->ai_family == AF_INET6) {
      sockaddr_in6 address{};
      std::memcpy(&address, node->ai_addr, sizeof address);
      otherAddresses_ += (otherAddresses_.empty() ? "" : ", ") + addressText(address.sin6_addr);
    }
  }
  // The last alias in the chain points to the canonical name.
  for (const ares_addrinfo_cname* alias = info.cnames; alias != nullptr; alias = alias->next) {
    if (alias->name != nullptr) answer_.canonicalName = alias->name;
  }
}

}  // namespace

Pending<HostAnswer> startHostQuery(EventLoop& loop, const std::string& name,
                                   std::chrono::milliseconds limit) {
  return startTask<HostTask>(loop, name, limit);
}

Pending<std::vector<in_addr>> startHostLookup(EventLoop& loop, const std::string& name,
                                              std::chrono::milliseconds limit) {
  return startTask<MappedTask<HostAnswer, std::vector<in_addr>>>(
      loop, startHostQuery(loop, name, limit),
      [](HostAnswer answer) { return std::move(answer.addresses); });
}

std::string shownName(const std::string& name) {
  constexpr std::size_t kMost = 255;
  return name.size() <= kMost ? name : name.substr(0, kMost) + "...";
}

}  // namespace tolk
