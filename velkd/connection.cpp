// One caller's connection.
#include "velkd/connection.h"

#include <poll.h>
#include <string.h>  // explicit_bzero
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

namespace velkd {
namespace {

constexpr std::size_t kReadBytes = std::size_t{64} << 10U;

bool mustWait(int error) noexcept {
  return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

Connection::Connection(tolk::UniqueFd socket, Caller caller, const ConnectionLimits& limits)
    : socket_(std::move(socket)), caller_(caller), limits_(limits), input_(limits.messageBytes) {}

short Connection::events() const noexcept {
  if (writing()) return POLLOUT;
  if (waiting_ || ended_ || unread_) return 0;  // poll reports a caller that is gone even so
  return POLLIN;
}

std::optional<Clock::time_point> Connection::deadline() const noexcept {
  if (writing()) return since_ + limits_.transfer;
  if (waiting_ && patience_.end == Clock::time_point::max()) return std::nullopt;
  if (waiting_) return patience_.end;
  return since_ + (input_.empty() ? limits_.idle : limits_.transfer);
}

bool Connection::readSome() {
  std::array<char, kReadBytes> chunk;  // NOLINT(*-member-init): filled by recv
  const ssize_t count = ::recv(socket_.get(), chunk.data(), chunk.size(), MSG_DONTWAIT);
  if (count < 0) return mustWait(errno);
  if (count == 0) {
    ended_ = true;
    return true;
  }
  if (input_.empty()) since_ = Clock::now();
  unread_ = true;
  input_.append({chunk.data(), static_cast<std::size_t>(count)});
  ::explicit_bzero(chunk.data(), static_cast<std::size_t>(count));  // may be a password
  return true;
}

std::optional<std::string> Connection::nextCall() {
  if (waiting_ || writing()) return std::nullopt;
  std::optional<std::string> call = input_.next();
  unread_ = call && !input_.empty();
  if (!call) return std::nullopt;
  waiting_ = true;
  patience_ = {};
  ++call_;
  return call;
}

bool Connection::answer(const std::string& text) {
  waiting_ = false;
  since_ = Clock::now();
  if (text.empty()) return true;
  output_ = text;
  output_ += '\0';
  return writeSome();
}

bool Connection::giveUp() {
  return waiting_ && answer(patience_.answer());
}

bool Connection::writeSome() {
  while (writing()) {
    const ssize_t count = ::send(socket_.get(), output_.data() + sent_, output_.size() - sent_,
                                 MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0) return mustWait(errno);
    sent_ += static_cast<std::size_t>(count);
  }
  output_ = std::string();  // gives the memory of a large answer back
  sent_ = 0;
  since_ = Clock::now();
  return true;
}

bool Connection::finished() const noexcept {
  return ended_ && !waiting_ && !writing() && !unread_;
}

}  // namespace velkd
