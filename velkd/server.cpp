// The poll loop that serves all callers.
#include "velkd/server.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>
#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"

namespace velkd {
namespace {

constexpr int kAcceptsInOneGo = 64;
constexpr std::chrono::milliseconds kAcceptPause{100};
// Whoever has many connections full of calls keeps root's, letters and signals waiting no longer.
constexpr std::chrono::milliseconds kSlice{20};

const tolk::Logger& logger() {
  return tolk::Logger::GetThreadPrivateLogger("velkd.server");
}

std::string describe(const Caller& caller) {
  return "process " + std::to_string(caller.pid) + " of user " + std::to_string(caller.uid);
}

std::optional<Caller> callerBehind(int fd) {
  ucred peer{};
  socklen_t length = sizeof peer;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) return std::nullopt;
  return Caller{.uid = peer.uid, .pid = peer.pid};
}

}  // namespace

Server::Server(tolk::UniqueFd listener, Handler handler, Mailbox& mailbox,
               const ServerLimits& limits)
    : listener_(std::move(listener)),
      handler_(std::move(handler)),
      mailbox_(mailbox),
      limits_(limits),
      places_(limits.connections, limits.keptForRoot) {}

void Server::run(const std::vector<Watched>& others) {
  std::vector<pollfd> fds;
  for (;;) {
    fds.assign({{mailbox_.fd(), POLLIN, 0}, {accepting() ? listener_.get() : -1, POLLIN, 0}});
    for (const Watched& other : others) fds.push_back({other.fd, POLLIN, 0});
    const std::size_t fixed = fds.size();
    for (const auto& [id, connection] : connections_) {
      fds.push_back({connection.fd(), connection.events(), 0});
    }
    if (::poll(fds.data(), fds.size(), pollTimeout()) < 0) {
      if (errno != EINTR) throw tolk::IOException("Cannot wait for callers", errno);
      continue;
    }
    for (std::size_t i = 0; i < others.size(); ++i) {
      if (fds[fixed - others.size() + i].revents != 0 && !others[i].onReadable()) return;
    }
    const std::vector<Ready> ready = inTurn(std::span(fds).subspan(fixed));
    if (fds[0].revents != 0) deliverLetters();
    serveSome(ready);
    dropSlow();
    if (fds[1].revents != 0) acceptSome();
  }
}

// Those with something to do: root's first, the others in a circle from where it was left.
std::vector<Server::Ready> Server::inTurn(std::span<const pollfd> polled) const {
  std::vector<Ready> ready;
  auto event = polled.begin();
  for (const auto& [id, connection] : connections_) {
    const short events = (event++)->revents;
    if (events == 0 && !connection.mayHaveCall()) continue;
    ready.push_back({.id = id, .events = events, .root = connection.caller().privileged()});
  }
  const auto others =
      std::stable_partition(ready.begin(), ready.end(), [](const Ready& one) { return one.root; });
  const auto next =
      std::find_if(others, ready.end(), [this](const Ready& one) { return one.id > lastServed_; });
  std::rotate(others, next, ready.end());
  return ready;
}

void Server::serveSome(const std::vector<Ready>& ready) {
  const Clock::time_point end = Clock::now() + kSlice;
  for (const Ready& one : ready) {
    if (!one.root && Clock::now() >= end) return;  // the rest is ready in the next round, too
    if (!one.root) lastServed_ = one.id;
    if (const auto at = connections_.find(one.id); at != connections_.end()) serve(at, one.events);
  }
}

bool Server::accepting() const {
  return !places_.full() && Clock::now() >= acceptAgain_;
}

int Server::pollTimeout() const {
  const Clock::time_point now = Clock::now();
  Clock::time_point first = Clock::time_point::max();
  if (acceptAgain_ > now) first = acceptAgain_;
  for (const auto& [id, connection] : connections_) {
    if (connection.mayHaveCall()) return 0;
    if (const auto deadline = connection.deadline()) first = std::min(first, *deadline);
  }
  if (first == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(first - now).count();
  return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left, 0, INT_MAX));
}

void Server::acceptSome() {
  for (int i = 0; i < kAcceptsInOneGo && accepting(); ++i) {
    tolk::UniqueFd socket(
        ::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (socket) {
      admit(std::move(socket));
      continue;
    }
    if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
      logger().log(tolk::LogLevel::warning, "No descriptor is left for another caller");
      acceptAgain_ = Clock::now() + kAcceptPause;
    }
    return;
  }
}

void Server::admit(tolk::UniqueFd socket) {
  const std::optional<Caller> caller = callerBehind(socket.get());
  if (!caller) return;
  if (!places_.take(caller->uid)) {
    logger().log(tolk::LogLevel::warning,
                 "Refused " + describe(*caller) + ": that user has too many connections");
    return;
  }
  const ConnectionLimits limits{
      .messageBytes = caller->privileged() ? limits_.rootMessageBytes : limits_.userMessageBytes,
      .idle = limits_.idle,
      .transfer = limits_.transfer};
  connections_.try_emplace(++lastId_, std::move(socket), *caller, limits);
}

void Server::serve(Connections::iterator at, short events) {
  if (!exchange(at->first, at->second, events)) drop(at);
}

void Server::drop(Connections::iterator at) {
  places_.giveBack(at->second.caller().uid);
  connections_.erase(at);
}

bool Server::exchange(ConnectionId id, Connection& connection, short events) {
  constexpr short kGone = POLLHUP | POLLERR | POLLNVAL;
  // Bytes that were sent before the caller hung up still count, so reading comes first.
  if ((events & POLLIN) != 0 && !connection.readSome()) return false;
  if ((events & POLLOUT) != 0 && !connection.writeSome()) return false;
  const bool silent = (events & (POLLIN | POLLOUT)) == 0 && !connection.mayHaveCall();
  if (silent && (events & kGone) != 0) return false;
  return answerCall(id, connection) && !connection.finished();
}

bool Server::answerCall(ConnectionId id, Connection& connection) {
  try {
    std::optional<std::string> text = connection.nextCall();
    if (!text) return true;
    Request request{
        .connection = id, .call = connection.call(), .caller = connection.caller(), .text = {}};
    request.text = std::move(*text);
    Outcome outcome = handler_(request);
    if (outcome.answer) return connection.answer(*outcome.answer);
    connection.keepWaiting(std::move(outcome.patience));
    return true;
  } catch (const std::exception& e) {
    logger().log(tolk::LogLevel::info,
                 "Closed the connection of " + describe(connection.caller()) + ": " + e.what());
    return false;
  }
}

void Server::goOn(Connections::iterator at, bool answered) {
  if (answered) {
    serve(at, 0);
  } else {
    drop(at);
  }
}

void Server::deliverLetters() {
  for (const Letter& letter : mailbox_.takeAll()) {
    const auto at = connections_.find(letter.connection);
    // The caller did not wait, or was told that it would be in vain.
    if (at == connections_.end() || !at->second.awaits(letter.call)) continue;
    goOn(at, at->second.answer(letter.text));
  }
}

void Server::dropSlow() {
  const Clock::time_point now = Clock::now();
  for (auto at = connections_.begin(); at != connections_.end();) {
    const auto current = at++;
    const auto deadline = current->second.deadline();
    if (deadline && now >= *deadline) goOn(current, current->second.giveUp());
  }
}

}  // namespace velkd
