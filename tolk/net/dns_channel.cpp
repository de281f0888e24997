// One channel a server and question: the library sees no file and no other server, so that who
// did what is known.
#include "tolk/net/dns_channel.h"

#include <arpa/nameser.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>

#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

// What passes every network unfragmented (DNS flag day 2020).
constexpr int kEdnsSize = 1232;

void require(int status) {
  if (status == ARES_SUCCESS) return;
  throw DNSUnavailableException(std::string("DNS library: ") + ares_strerror(status), status);
}

void initLibrary() {
  static const int status = ares_library_init(ARES_LIB_INIT_ALL);
  require(status);
}

// The library doubles the time with each try.
std::chrono::milliseconds firstTry(const ResolverSettings& settings,
                                   std::chrono::milliseconds limit) {
  const long long parts = (1LL << settings.attempts) - 1;
  const std::chrono::milliseconds part((limit.count() + parts - 1) / parts);
  return std::min<std::chrono::milliseconds>(settings.timeout, part);
}

}  // namespace

// With all of these options set the library reads no file of its own.
DnsChannel::DnsChannel(const char* lookups, const ResolverSettings& settings, int flags,
                       std::chrono::milliseconds timeout) {
  initLibrary();
  std::string order(lookups);
  std::vector<std::string> domains = settings.searchDomains;
  std::vector<char*> pointers;
  pointers.reserve(domains.size());
  for (std::string& domain : domains) pointers.push_back(domain.data());
  ares_options options{};
  options.flags = flags | ARES_FLAG_NOCHECKRESP;
  options.timeout = static_cast<int>(timeout.count());
  options.tries = settings.attempts;
  options.ndots = settings.ndots;
  options.domains = pointers.data();
  options.ndomains = static_cast<int>(pointers.size());
  options.lookups = order.data();
  options.ednspsz = kEdnsSize;
  ares_channel channel = nullptr;
  require(ares_init_options(&channel, &options,
                            ARES_OPT_FLAGS | ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_NDOTS |
                                ARES_OPT_DOMAINS | ARES_OPT_LOOKUPS | ARES_OPT_EDNSPSZ |
                                ARES_OPT_SERVERS | ARES_OPT_NOROTATE));
  channel_.reset(channel);
}

DnsChannel::DnsChannel(const NameServer& server, const ResolverSettings& settings,
                       std::chrono::milliseconds limit, Transport transport)
    : DnsChannel(
          "b", settings,
          (server.edns ? ARES_FLAG_EDNS : 0) | (transport == Transport::tcp ? ARES_FLAG_USEVC : 0),
          firstTry(settings, limit)) {
  require(ares_set_servers_ports_csv(channel_.get(), server.address.c_str()));
  const auto note = [](ares_socket_t /*socket*/, int type, void* self) noexcept {
    if (type == SOCK_STREAM) static_cast<DnsChannel*>(self)->usedTcp_ = true;
    return 0;
  };
  ares_set_socket_configure_callback(channel_.get(), note, this);
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

DnsChannel::Clock::time_point DnsChannel::wakeAt() const {
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

void DnsChannel::askForLife() {
  constexpr unsigned short kId = 0x6c69;  // of no weight: a forged answer costs a wait, no more
  unsigned char* question = nullptr;
  int size = 0;
  require(ares_create_query(".", ns_c_in, ns_t_ns, kId, 0, &question, &size, 0));
  const std::unique_ptr<unsigned char, Releaser<ares_free_string>> owned(question);
  const auto note = [](void* self, int status, int /*timeouts*/, unsigned char* /*answer*/,
                       int /*size*/) noexcept {
    if (status == ARES_SUCCESS) static_cast<DnsChannel*>(self)->lives_ = true;
  };
  ares_send(channel_.get(), question, size, note, this);
}

}  // namespace tolk
