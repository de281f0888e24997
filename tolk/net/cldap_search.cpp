#include <sys/random.h>

#include <atomic>
#include <iterator>

#include "tolk/net/cldap.h"
#include "tolk/net/udp_exchange.h"

namespace tolk {
namespace {

constexpr in_port_t kLdapPort = 389;

// Not to be guessed, and so not to be answered, by those who do not see the request.
int newMessageId() {
  static std::atomic<unsigned> next = 0;
  unsigned random = 0;
  if (::getrandom(&random, sizeof random, 0) != sizeof random) random = ++next;
  return static_cast<int>(random & 0x7fffffffU) | 1;
}

class CldapSearch final : public UdpExchange<std::vector<CldapEntry>> {
 public:
  CldapSearch(EventLoop& loop, const sockaddr_in& address, const CldapRequest& request,
              std::chrono::milliseconds limit, int messageId)
      : UdpExchange(loop, address, encodeCldapRequest(request, messageId), limit, {}),
        messageId_(messageId) {}

 private:
  std::optional<std::vector<CldapEntry>> accept(std::string_view datagram) override {
    std::optional<CldapAnswer> answer = decodeCldapAnswer(datagram);
    if (!answer || answer->messageId != messageId_) return std::nullopt;
    std::move(answer->entries.begin(), answer->entries.end(), std::back_inserter(entries_));
    if (!answer->finished) return std::nullopt;
    return std::move(entries_);
  }

  int messageId_;
  std::vector<CldapEntry> entries_;
};

}  // namespace

Pending<std::vector<CldapEntry>> startCldapSearch(EventLoop& loop, const sockaddr_in& address,
                                                  const CldapRequest& request,
                                                  std::chrono::milliseconds limit) {
  return startTask<CldapSearch>(loop, withDefaultPort(address, kLdapPort), request, limit,
                                newMessageId());
}

}  // namespace tolk
