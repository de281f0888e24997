#include "tolk/net/host_query.h"

#include <netdb.h>

#include <cstring>

#include "tolk/net/dns.h"
#include "tolk/net/dns_channel.h"
#include "tolk/net/mapped_task.h"

namespace tolk {
namespace {

int hostError(int status) {
  switch (status) {
    case ARES_SUCCESS:
      return 0;
    case ARES_ENOTFOUND:
      return HOST_NOT_FOUND;
    case ARES_ENODATA:
      return NO_DATA;
    case ARES_ETIMEOUT:
    case ARES_ECONNREFUSED:
    case ARES_ESERVFAIL:
    case ARES_EREFUSED:
      return TRY_AGAIN;
    default:
      return NO_RECOVERY;
  }
}

HostAnswer readAnswer(const ares_addrinfo& info, const std::string& asked) {
  HostAnswer answer;
  for (const ares_addrinfo_node* node = info.nodes; node != nullptr; node = node->ai_next) {
    if (node->ai_family != AF_INET) continue;
    sockaddr_in address{};
    std::memcpy(&address, node->ai_addr, sizeof address);
    answer.addresses.push_back(address.sin_addr);
  }
  if (answer.addresses.empty()) answer.error = NO_DATA;
  answer.canonicalName = info.name != nullptr ? info.name : asked;
  // The last alias in the chain points to the canonical name.
  for (const ares_addrinfo_cname* alias = info.cnames; alias != nullptr; alias = alias->next) {
    if (alias->name != nullptr) answer.canonicalName = alias->name;
  }
  return answer;
}

class HostTask final : public DnsTask<HostAnswer> {
 public:
  HostTask(EventLoop& loop, std::string name, std::chrono::milliseconds limit)
      : DnsTask(loop, limit), name_(std::move(name)) {}
  ~HostTask() override { abandon(); }

 private:
  static void onAnswer(void* self, int status, int /*timeouts*/, ares_addrinfo* info) noexcept {
    const std::unique_ptr<ares_addrinfo, Releaser<ares_freeaddrinfo>> owned(info);
    auto& task = *static_cast<HostTask*>(self);
    if (owned != nullptr) task.answer_ = readAnswer(*owned, task.name_);
    if (status != ARES_SUCCESS) task.answer_.error = hostError(status);
    task.answered();
  }

  void ask(ares_channel channel) override {
    // A C string would end at the NUL and name another host.
    if (name_.empty() || name_.find('\0') != std::string::npos) {
      answer_.error = HOST_NOT_FOUND;
      return answered();
    }
    ares_addrinfo_hints hints{};
    hints.ai_flags = ARES_AI_CANONNAME;
    hints.ai_family = AF_INET;
    ares_getaddrinfo(channel, name_.c_str(), nullptr, &hints, &onAnswer, this);
  }

  void conclude() override { finish(std::move(answer_)); }
  void expire() override { finish({.error = TRY_AGAIN, .canonicalName = {}, .addresses = {}}); }

  std::string name_;
  HostAnswer answer_;
};

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
