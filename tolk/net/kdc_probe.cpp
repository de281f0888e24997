// Whether a key distribution center answers behind an open port: a request for a ticket to somebody
// who does not exist (RFC 4120, 5.4.1), which no account pays for, and any answer to it.
#include <cerrno>

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "tolk/net/probes.h"
#include "tolk/net/tcp_exchange.h"
#include "tolk/net/udp_exchange.h"

namespace tolk {
namespace {

constexpr std::size_t kLengthBytes = 4;
constexpr std::size_t kMostBytes = 1 << 20;

/// One element of DER; contents here stay below 64 KiB.
std::string element(unsigned char tag, const std::string& content) {
  std::string out(1, static_cast<char>(tag));
  const std::size_t size = content.size();
  if (size >= 256) out += {'\x82', static_cast<char>(size >> 8)};
  if (size >= 128 && size < 256) out += '\x81';
  return out + static_cast<char>(size & 0xff) + content;
}

std::string sequence(std::initializer_list<std::string> fields) {
  std::string content;
  for (const std::string& field : fields) content += field;
  return element(0x30, content);
}

std::string field(unsigned char number, const std::string& content) {
  return element(static_cast<unsigned char>(0xa0 + number), content);
}

std::string integer(unsigned char value) {
  return element(0x02, std::string(1, static_cast<char>(value)));
}

std::string text(const std::string& value) {
  return element(0x1b, value);
}

std::string principal(unsigned char type, const std::string& names) {
  return sequence({field(0, integer(type)), field(1, element(0x30, names))});
}

std::string ticketRequest(const std::string& realm) {
  const std::string noOptions(5, '\0');
  const std::string body = sequence({
      field(0, element(0x03, noOptions)),
      field(1, principal(1, text("joinscope-port-test"))),
      field(2, text(realm)),
      field(3, principal(2, text("krbtgt") + text(realm))),
      field(5, element(0x18, "20370913024805Z")),
      field(7, integer(1)),
      field(8, sequence({integer(18), integer(17)})),
  });
  std::string request =
      element(0x6a, sequence({field(1, integer(5)), field(2, integer(10)), field(4, body)}));
  return request;
}

/// A message on a stream: behind four bytes of its length (RFC 4120, 7.2.2).
std::string framed(const std::string& message) {
  std::string length(2, '\0');
  length += static_cast<char>(message.size() >> 8);
  length += static_cast<char>(message.size() & 0xff);
  return length + message;
}

/// Whether a message that begins so is a KDC's: an error (RFC 4120, 5.9.1) or a ticket.
bool ofKdc(char tag) {
  constexpr char kError = 0x7e;
  constexpr char kTicket = 0x6b;
  return tag == kError || tag == kTicket;
}

class KdcProbe final : public TcpExchange<ProbeOutcome> {
 public:
  KdcProbe(EventLoop& loop, const sockaddr_in& address, const std::string& realm,
           std::chrono::milliseconds limit)
      : TcpExchange(loop, address, framed(ticketRequest(realm)), limit) {}

 private:
  std::optional<ProbeOutcome> accept(std::string_view received) override {
    if (received.size() <= kLengthBytes) return std::nullopt;
    std::size_t length = 0;
    for (const char byte : received.substr(0, kLengthBytes)) {
      length = length << 8 | static_cast<unsigned char>(byte);
    }
    if (length > 1 && length < kMostBytes && ofKdc(received[kLengthBytes])) return ProbeOutcome{};
    return ProbeOutcome{ConnectResult::kRefused, EPROTO,
                        "the answer is not that of a key distribution center"};
  }

  void fail(int error) override {
    const bool refused = failingSide(error) == Failing::peer;
    finish({refused ? ConnectResult::kRefused : ConnectResult::kTimeout, error,
            describe(error, "answer")});
  }
};

class KdcUdpProbe final : public UdpExchange<ProbeOutcome> {
 public:
  using UdpExchange::UdpExchange;

 private:
  std::optional<ProbeOutcome> accept(std::string_view datagram) override {
    if (datagram.empty() || !ofKdc(datagram.front())) return std::nullopt;
    return ProbeOutcome{};
  }
};

}  // namespace

Pending<ProbeOutcome> startKdcProbe(EventLoop& loop, const sockaddr_in& address,
                                    const std::string& realm, std::chrono::milliseconds limit) {
  return startTask<KdcProbe>(loop, address, realm, limit);
}

Pending<ProbeOutcome> startKdcUdpProbe(EventLoop& loop, const sockaddr_in& address,
                                       const std::string& realm, std::chrono::milliseconds limit) {
  return startTask<KdcUdpProbe>(loop, address, ticketRequest(realm), limit, std::string_view());
}

}  // namespace tolk
