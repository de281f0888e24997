// The time of a server by SNTP (RFC 4330): one question with a random stamp, answered with that
// stamp.
#include <sys/random.h>

#include <cerrno>

#include <chrono>
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

std::uint32_t readStampPart(std::string_view packet, std::size_t at) {
  std::uint32_t value = 0;
  for (const char byte : packet.substr(at, 4))
    value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

// RFC 4330, 3: seconds from 1900, or from 2036 when the top bit is clear.
std::time_t unixTime(std::string_view packet) {
  constexpr std::int64_t kFrom1900To1970 = 2208988800;
  constexpr std::int64_t kEra = std::int64_t{1} << 32;
  std::int64_t seconds = readStampPart(packet, kTransmit);
  if (seconds < kEra / 2) seconds += kEra;
  return static_cast<std::time_t>(seconds - kFrom1900To1970);
}

/// How far this host's clock is ahead of an answer that has just come and was `onTheWay` with its
/// question: half of that is taken for the way back.
double clockAhead(std::string_view packet, std::chrono::duration<double> onTheWay) {
  constexpr double kFractions = 4294967296.0;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto whole = std::chrono::floor<std::chrono::seconds>(now);
  const std::chrono::duration<double> rest = now - whole;
  const double fraction = readStampPart(packet, kTransmit + 4) / kFractions;
  return static_cast<double>(whole.count() - unixTime(packet)) + rest.count() - fraction -
         onTheWay.count() / 2;
}

class NtpQuery final : public UdpExchange<NtpAnswer> {
 public:
  NtpQuery(EventLoop& loop, const sockaddr_in& address, const std::string& request,
           std::chrono::milliseconds limit)
      : UdpExchange(loop, address, request, limit,
                    limit == configuredLimit(PN::NET_NTP_TIMEOUT) ? PN::NET_NTP_TIMEOUT.key : ""),
        stamp_(request.substr(kTransmit, kStampSize)) {}

 private:
  std::optional<NtpAnswer> accept(std::string_view packet) override {
    constexpr unsigned kServerMode = 4;
    if (packet.size() < kPacketSize || (static_cast<unsigned>(packet[0]) & 7U) != kServerMode ||
        packet.substr(kOriginate, kStampSize) != stamp_) {
      return std::nullopt;  // not the answer to this question
    }
    requireTime(packet);
    return NtpAnswer{unixTime(packet), clockAhead(packet, sinceSent())};
  }

  // RFC 5905, 7.3 and 7.4: stratum 0 is a "kiss-o'-death" with its code in place of the reference.
  void requireTime(std::string_view packet) const {
    constexpr unsigned kAlarm = 3;
    const auto stratum = static_cast<unsigned char>(packet[1]);
    const bool alarm = static_cast<unsigned char>(packet[0]) >> 6 == kAlarm || stratum > 15;
    const bool noTime = packet.substr(kTransmit, kStampSize).find_first_not_of('\0') == packet.npos;
    if (stratum != 0 && !alarm && !noTime) return;
    std::string code;
    for (const char letter : stratum == 0 ? packet.substr(kReference, 4) : std::string_view()) {
      if (letter >= 'A' && letter <= 'Z') code += letter;
    }
    std::string reason = alarm ? ": its clock is not synchronized" : "";
    if (!code.empty()) reason = " (" + code + ")";
    throw IOException(addressText(address()) + " has no time to give" + reason);
  }

  std::string stamp_;
};

}  // namespace

Pending<NtpAnswer> startNtpQuery(EventLoop& loop, const sockaddr_in& address,
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
  return startNtpQuery(loop, socketAddress(answer.addresses.front(), kNtpPort)).wait().time;
}

}  // namespace tolk
