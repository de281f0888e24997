// Tells the service manager how the daemon is doing.
#include "velkd/notify.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "tolk/base/handle.h"

namespace velkd {

void notifyServiceManager(std::string_view state) noexcept {
  const char* const name = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  if (name == nullptr || (name[0] != '/' && name[0] != '@')) return;
  const std::size_t length = std::strlen(name);
  if (length >= sizeof address.sun_path) return;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, name, length);
  if (name[0] == '@')
    address.sun_path[0] = '\0';  // an abstract name: its NUL counts, no other does
  const tolk::UniqueFd socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
  if (!socket) return;
  (void)::sendto(socket.get(), state.data(), state.size(), MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&address), size);
}

}  // namespace velkd
