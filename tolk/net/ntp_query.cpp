// The time of a server by SNTP (RFC 4330): one question with a random stamp, answered with that
// stamp.
#include <sys/random.h>

#include <cerrno>

#include <cstdint>
#include <ctime>

#include "tolk/base/exceptions.h"
#include "tolk/net/host_query.h"
#include "tolk/net/probes.h"
#include "tolk/net/udp_exchange.h"

namespace tolk {
namespace {

constexpr in_port_t kNtpPort = 123;
constexpr std::size_t kPacketSize = 48;
constexpr std::size_t kReference = 12;  // offsets in the packet, RFC 4330, 4
constexpr std::size_t kOriginate = 24;
constexpr std::size_t kTransmit = 40;
constexpr std::size_t kStampSize = 8;

std::string ntpRequest() {
  std::string packet(kPacketSize, '\0');
  packet[0] = 0x23;  // version 4, mode 3 (client)
  if (::getrandom(packet.data() + kTransmit, kStampSize, 0) != kStampSize) {
    throw IOException("getrandom: no random bytes", errno);
  }
  return packet;
}

// RFC 4330, 3: seconds from 1900, or from 2036 when the top bit is clear.
std::time_t unixTime(std::string_view packet) {
  std::int64_t seconds = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    seconds = seconds << 8 | static_cast<unsigned char>(packet[kTransmit + i]);
  }
  constexpr std::int64_t kFrom1900To1970 = 2208988800;
  constexpr std::int64_t kEra = std::int64_t{1} << 32;
  if (seconds < kEra / 2) seconds += kEra;
  return static_cast<std::time_t>(seconds - kFrom1900To1970);
}

class NtpQuery final : public UdpExchange<std::time_t> {
 public:
  NtpQuery(EventLoop& loop, const sockaddr_in& address, const std::string& request,
           std::chrono::milliseconds limit)
      : UdpExchange(loop, address, request, limit, PN::NET_NTP_TIMEOUT.key),
        address_(address),
        stamp_(request.substr(kTransmit, kStampSize)) {}

 private:
  std::optional<std::time_t> accept(std::string_view packet) override {
    constexpr unsigned kServerMode = 4;
    if (packet.size() < kPacketSize || (static_cast<unsigned>(packet[0]) & 7U) != kServerMode ||
        packet.substr(kOriginate, kStampSize) != stamp_) {
      return std::nullopt;  // not the answer to this question
    }
    const auto stratum = static_cast<unsigned char>(packet[1]);
    const bool noTime = packet.substr(kTransmit, kStampSize).find_first_not_of('\0') == packet.npos;
    if (stratum == 0 || stratum > 15 || noTime) {
      std::string code;  // "kiss-o'-death", RFC 4330, 8
      for (const char letter : packet.substr(kReference, 4)) {
        if (letter >= 'A' && letter <= 'Z') code += letter;
      }
      throw IOException(addressText(address_) + " has no time to give" +
                        (code.empty() ? "" : " (" + code + ")"));
    }
    return unixTime(packet);
  }

  sockaddr_in address_;
  std::string stamp_;
};

}  // namespace

Pending<std::time_t> startNtpQuery(EventLoop& loop, const sockaddr_in& address,
                                   std::chrono::milliseconds limit) {
  return startTask<NtpQuery>(loop, withDefaultPort(address, kNtpPort), ntpRequest(), limit);
}

std::time_t NtpGetTime(const char* host) {
  EventLoop loop;
  const HostAnswer answer =
      startHostQuery(loop, host, configuredLimit(PN::VELKD_DNS_RESPONSE_MAXTIME)).wait();
  if (answer.addresses.empty()) {
    throw IOException("No address for host " + shownName(host));
  }
  return startNtpQuery(loop, socketAddress(answer.addresses.front(), kNtpPort)).wait();
}

}  // namespace tolk
