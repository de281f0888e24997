#include "tolk/net/dns_channel.h"

#include <sys/time.h>

#include <algorithm>
#include <array>

#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

constexpr int kTries = 2;

void initLibrary() {
  static const int status = ares_library_init(ARES_LIB_INIT_ALL);
  if (status != ARES_SUCCESS) {
    throw DNSUnavailableException(std::string("DNS library: ") + ares_strerror(status), status);
  }
}

}  // namespace

DnsChannel::DnsChannel(std::chrono::milliseconds limit) {
  initLibrary();
  std::array<char, 3> lookups{'f', 'b', '\0'};
  ares_options options{};
  options.timeout = static_cast<int>(std::max<long>(limit.count() / 3, 1));
  options.tries = kTries;
  options.lookups = lookups.data();
  ares_channel channel = nullptr;
  const int status =
      ares_init_options(&channel, &options, ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_LOOKUPS);
  if (status != ARES_SUCCESS) {
    throw DNSUnavailableException(std::string("DNS library: ") + ares_strerror(status), status);
  }
  channel_.reset(channel);
}

void DnsChannel::watch(std::vector<pollfd>& out) const {
  std::array<ares_socket_t, ARES_GETSOCK_MAXNUM> sockets{};
  const auto mask = static_cast<unsigned>(
      ares_getsock(channel_.get(), sockets.data(), static_cast<int>(sockets.size())));
  for (unsigned i = 0; i < sockets.size(); ++i) {
    int events = 0;
    if (ARES_GETSOCK_READABLE(mask, i)) events |= POLLIN;
    if (ARES_GETSOCK_WRITABLE(mask, i)) events |= POLLOUT;
    if (events != 0) out.push_back({sockets[i], static_cast<short>(events), 0});
  }
}

Operation::Clock::time_point DnsChannel::wakeAt() const {
  timeval left{};
  if (ares_timeout(channel_.get(), nullptr, &left) == nullptr) return Clock::time_point::max();
  // A millisecond more: the library compares whole microseconds and would find nothing to do yet.
  return Clock::now() + std::chrono::seconds(left.tv_sec) +
         std::chrono::microseconds(left.tv_usec) + std::chrono::milliseconds(1);
}

void DnsChannel::process(std::span<const pollfd> ready) const {
  for (const pollfd& descriptor : ready) {
    const bool readable = (descriptor.revents & (POLLIN | POLLERR | POLLHUP)) != 0;
    const bool writable = (descriptor.revents & (POLLOUT | POLLERR | POLLHUP)) != 0;
    ares_process_fd(channel_.get(), readable ? descriptor.fd : ARES_SOCKET_BAD,
                    writable ? descriptor.fd : ARES_SOCKET_BAD);
  }
  if (ready.empty()) ares_process_fd(channel_.get(), ARES_SOCKET_BAD, ARES_SOCKET_BAD);
}

}  // namespace tolk
