// The same messages over two transports. Silence is remembered by address, so that a second
// search does not wait for it again.
#include <sys/random.h>

#include <atomic>
#include <iterator>

#include "tolk/base/exceptions.h"
#include "tolk/net/cldap.h"
#include "tolk/net/ldap_silence.h"
#include "tolk/net/tcp_exchange.h"
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
      : UdpExchange(loop, address, encodeCldapRequest(request, messageId),
                    remainingLimit(Transport::udp, address, limit), {}),
        messageId_(messageId),
        silence_(Transport::udp, address) {}

 private:
  void expire() override {
    throw TimeoutException(
        addressText(address()) + "/udp did not answer within " + limitText(silence_.time()),
        ETIMEDOUT);
  }

  std::optional<std::vector<CldapEntry>> accept(std::string_view datagram) override {
    std::optional<CldapAnswer> answer = decodeCldapAnswer(datagram);
    if (!answer || answer->messageId != messageId_) return std::nullopt;
    silence_.heard();
    std::move(answer->entries.begin(), answer->entries.end(), std::back_inserter(entries_));
    if (!answer->finished) return std::nullopt;
    return std::move(entries_);
  }

  int messageId_;
  SilenceWatch silence_;
  std::vector<CldapEntry> entries_;
};

// The same messages, one after another on a stream.
class StreamSearch final : public TcpExchange<std::vector<CldapEntry>> {
 public:
  StreamSearch(EventLoop& loop, const sockaddr_in& address, const CldapRequest& request,
               std::chrono::milliseconds limit, int messageId)
      : TcpExchange(loop, address, encodeCldapRequest(request, messageId),
                    remainingLimit(Transport::tcp, address, limit)),
        messageId_(messageId),
        silence_(Transport::tcp, address) {}

 private:
  // A root DSE is far smaller.
  static constexpr std::size_t kMost = 64 << 10;

  std::optional<std::vector<CldapEntry>> accept(std::string_view received) override {
    constexpr char kSequence = 0x30;
    if (received.front() != kSequence || received.size() > kMost) {
      silence_.heard();
      throw BadDataException(addressText(address()) + " gave an answer that is not LDAP");
    }
    std::optional<CldapAnswer> answer = decodeCldapAnswer(received);
    if (!answer || !answer->finished || answer->messageId != messageId_) return std::nullopt;
    silence_.heard();
    return std::move(answer->entries);
  }

  void fail(int error) override {
    const std::string reason = describe(error, "LDAP answer");
    if (failingSide(error) != Failing::peer) throw TimeoutException(reason, error);
    silence_.heard();
    throw IOException(reason, error);
  }

  int messageId_;
  SilenceWatch silence_;
};

}  // namespace

Pending<std::vector<CldapEntry>> startCldapSearch(EventLoop& loop, const sockaddr_in& address,
                                                  const CldapRequest& request,
                                                  std::chrono::milliseconds limit) {
  return startTask<CldapSearch>(loop, withDefaultPort(address, kLdapPort), request, limit,
                                newMessageId());
}

Pending<std::vector<CldapEntry>> startStreamSearch(EventLoop& loop, const sockaddr_in& address,
                                                   const CldapRequest& request,
                                                   std::chrono::milliseconds limit) {
  return startTask<StreamSearch>(loop, withDefaultPort(address, kLdapPort), request, limit,
                                 newMessageId());
}

}  // namespace tolk
