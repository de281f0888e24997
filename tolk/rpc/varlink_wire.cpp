// Framing of the daemon channel.
#include "tolk/rpc/varlink_wire.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

constexpr std::size_t kReadBytes = std::size_t{64} << 10U;

[[noreturn]] void throwSystem(const char* what, int error) {
  throw IPCException(std::string(what) + ": " + std::generic_category().message(error),
                     IpcError::kFailed);
}

[[noreturn]] void throwTooLarge(std::size_t limitBytes) {
  throw IPCException("The message is larger than " + std::to_string(limitBytes) + " bytes",
                     IpcError::kTooLarge);
}

// Milliseconds left, rounded up so that poll does not return just before the deadline again and
// again.
int millisecondsUntil(WireDeadline deadline) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, INT_MAX));
}

// Waits until the socket is ready for `events`, or has failed: the call that follows says how.
void waitFor(int fd, short events, WireDeadline deadline) {
  // The clock comes first: bytes that drip in without end keep the socket ready and must not outrun
  // the deadline.
  while (std::chrono::steady_clock::now() < deadline) {
    pollfd one{fd, events, 0};
    const int ready = ::poll(&one, 1, millisecondsUntil(deadline));
    if (ready > 0) return;
    if (ready < 0 && errno != EINTR) throwSystem("Cannot wait for the daemon", errno);
  }
  throw IPCException(
      events == POLLIN ? "No whole message arrived in time" : "The message was not taken in time",
      IpcError::kTimeout);
}

bool mustWait(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

void MessageBuffer::append(std::string_view bytes) {
  bytes_.erase(0, start_);
  searched_ -= start_;
  start_ = 0;
  bytes_.append(bytes);
}

std::optional<std::string> MessageBuffer::next() {
  const std::size_t end = bytes_.find('\0', searched_);
  searched_ = std::min(end, bytes_.size());
  if (searched_ - start_ > limitBytes_) throwTooLarge(limitBytes_);
  if (end == std::string::npos) return {};
  std::string message = bytes_.substr(start_, end - start_);
  start_ = searched_ = end + 1;
  return message;
}

VarlinkStream::VarlinkStream(UniqueFd socket, std::size_t limitBytes)
    : socket_(std::move(socket)), limitBytes_(limitBytes), received_(limitBytes) {
  const int flags = ::fcntl(socket_.get(), F_GETFL);
  if (flags < 0 || ::fcntl(socket_.get(), F_SETFL, flags | O_NONBLOCK) != 0) {
    throwSystem("Cannot use the socket", errno);
  }
}

void VarlinkStream::send(std::string_view message, WireDeadline deadline) {
  if (message.size() > limitBytes_) throwTooLarge(limitBytes_);
  if (message.find('\0') != std::string_view::npos) {
    throw IPCException("A message may not hold a NUL byte", IpcError::kBadMessage);
  }
  std::string framed(message);
  framed += '\0';
  for (std::size_t sent = 0; sent < framed.size();) {
    const ssize_t count =
        ::send(socket_.get(), framed.data() + sent, framed.size() - sent, MSG_NOSIGNAL);
    if (count >= 0) {
      sent += static_cast<std::size_t>(count);
    } else if (mustWait(errno)) {
      waitFor(socket_.get(), POLLOUT, deadline);
    } else if (errno == EPIPE || errno == ECONNRESET) {
      throw IPCException("The other end closed the connection", IpcError::kEndOfStream);
    } else {
      throwSystem("Cannot send", errno);
    }
  }
}

std::string VarlinkStream::receive(WireDeadline deadline) {
  std::array<char, kReadBytes> chunk;  // NOLINT(*-member-init): filled by recv
  for (;;) {
    if (auto message = received_.next()) return std::move(*message);
    waitFor(socket_.get(), POLLIN, deadline);
    const ssize_t count = ::recv(socket_.get(), chunk.data(), chunk.size(), 0);
    if (count > 0) {
      received_.append({chunk.data(), static_cast<std::size_t>(count)});
    } else if (count == 0 || errno == ECONNRESET) {
      throw IPCException(received_.empty() ? "The other end closed the connection"
                                           : "The other end closed the connection in mid-message",
                         IpcError::kEndOfStream);
    } else if (!mustWait(errno)) {
      throwSystem("Cannot receive", errno);
    }
  }
}

}  // namespace tolk
