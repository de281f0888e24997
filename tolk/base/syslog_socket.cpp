// Datagrams on a socket that never blocks: a log daemon that hangs costs its line, not a wait.
#include "tolk/base/syslog_socket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <utility>

#include "tolk/base/times.h"

namespace tolk {
namespace {

constexpr std::size_t kMaxTextBytes = 8192;

}  // namespace

SyslogSocket::SyslogSocket(std::string identity, std::string path)
    : identity_(std::move(identity)), path_(std::move(path)) {}

bool SyslogSocket::connected() noexcept {
  if (socket_) return true;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) return false;
  path_.copy(address.sun_path, path_.size());
  UniqueFd socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return false;
  }
  socket_ = std::move(socket);
  return true;
}

void SyslogSocket::send(int severity, std::string_view text) noexcept {
  try {
    if (!connected()) return;
    std::string record = "<" + std::to_string(LOG_USER | severity) + ">" +
                         localTimeText(std::time(nullptr), TimeForm::syslog) + " " + identity_ +
                         "[" + std::to_string(::getpid()) + "]: ";
    record += text.substr(0, kMaxTextBytes);
    const ssize_t sent = ::send(socket_.get(), record.data(), record.size(), MSG_NOSIGNAL);
    // A full queue is a daemon that does not read: the record is lost. Else the daemon was started
    // anew.
    if (sent < 0 && errno != EAGAIN) socket_.reset();
  } catch (...) {
    return;  // out of memory: the record is lost
  }
}

}  // namespace tolk
