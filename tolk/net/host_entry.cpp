// gethostbyname_r(3) over the bounded host lookup.
#include <cerrno>
#include <cstring>

#include <cstdint>
#include <exception>
#include <span>

#include "tolk/base/logger.h"
#include "tolk/net/dns.h"
#include "tolk/net/host_query.h"

namespace tolk {
namespace {

// Hands out aligned pieces of the caller's buffer; null when it is used up.
class Arena {
 public:
  Arena(char* buffer, std::size_t size) noexcept : next_(buffer), left_(size) {}

  template <typename T>
  T* take(std::size_t count) noexcept {
    void* place = next_;
    if (std::align(alignof(T), count * sizeof(T), place, left_) == nullptr) return nullptr;
    next_ = static_cast<char*>(place) + count * sizeof(T);
    left_ -= count * sizeof(T);
    return static_cast<T*>(place);
  }

 private:
  char* next_;
  std::size_t left_;
};

bool fill(hostent& entry, Arena arena, const HostAnswer& answer) noexcept {
  const std::size_t count = answer.addresses.size();
  // One list for both: the addresses, their end, and the end again as the empty list of aliases.
  char** pointers = arena.take<char*>(count + 1);
  in_addr* addresses = arena.take<in_addr>(count);
  char* name = arena.take<char>(answer.canonicalName.size() + 1);
  if (pointers == nullptr || addresses == nullptr || name == nullptr) return false;
  for (std::size_t i = 0; i < count; ++i) {
    addresses[i] = answer.addresses[i];
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the form of hostent
    pointers[i] = reinterpret_cast<char*>(&addresses[i]);
  }
  pointers[count] = nullptr;
  std::memcpy(name, answer.canonicalName.c_str(), answer.canonicalName.size() + 1);
  entry.h_name = name;
  entry.h_aliases = pointers + count;
  entry.h_addrtype = AF_INET;
  entry.h_length = sizeof(in_addr);
  entry.h_addr_list = pointers;
  return true;
}

HostAnswer lookUp(const char* name) {
  EventLoop loop;
  return startHostQuery(loop, name, configuredLimit(PN::VELKD_DNS_RESPONSE_MAXTIME)).wait();
}

}  // namespace

hostent* tolk_gethostbyname_r(const char* name, hostent* result, char* buffer, std::size_t size,
                              int* h_errnop) noexcept {
  try {
    const HostAnswer answer = lookUp(name == nullptr ? "" : name);
    *h_errnop = answer.error;
    if (answer.error != 0) return nullptr;
    if (fill(*result, Arena(buffer, size), answer)) return result;
    errno = ERANGE;
    *h_errnop = NETDB_INTERNAL;
  } catch (const std::exception& failure) {
    Logger::GetThreadPrivateLogger("base.net.dns").log(LogLevel::warning, failure.what());
    *h_errnop = TRY_AGAIN;
  }
  return nullptr;
}

}  // namespace tolk
