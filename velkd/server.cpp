// The poll loop that serves all callers.
#include "velkd/server.h"

#include <poll.h>
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
      limits_(limits) {}

void Server::run(int controlFd, const std::function<bool()>& onControl) {
  constexpr std::size_t kFixed = 3;
  std::vector<pollfd> fds;
  std::vector<ConnectionId> ids;
  for (;;) {
    fds.assign({{controlFd, POLLIN, 0},
                {mailbox_.fd(), POLLIN, 0},
                {accepting() ? listener_.get() : -1, POLLIN, 0}});
    ids.clear();
    for (const auto& [id, connection] : connections_) {
      fds.push_back({connection.fd(), connection.events(), 0});
      ids.push_back(id);
    }
    if (::poll(fds.data(), fds.size(), pollTimeout()) < 0 && errno != EINTR) {
      throw tolk::IOException("Cannot wait for callers", errno);
    }
    if (fds[0].revents != 0 && !onControl()) return;
    for (std::size_t i = 0; i < ids.size(); ++i) {
      if (fds[kFixed + i].revents == 0) continue;
      if (const auto at = connections_.find(ids[i]); at != connections_.end()) {
        serve(at, fds[kFixed + i].revents);
      }
    }
    if (fds[1].revents != 0) deliverLetters();
    dropSlow();
    if (fds[2].revents != 0) acceptSome();
  }
}

bool Server::accepting() const {
  return connections_.size() < limits_.connections && Clock::now() >= acceptAgain_;
}

int Server::pollTimeout() const {
  const Clock::time_point now = Clock::now();
  Clock::time_point first = Clock::time_point::max();
  if (acceptAgain_ > now) first = acceptAgain_;
  for (const auto& [id, connection] : connections_) {
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
  std::size_t& open = connectionsOf_[caller->uid];
  if (!caller->privileged() && open >= limits_.connectionsOfUser) {
    logger().log(tolk::LogLevel::warning,
                 "Refused " + describe(*caller) + ": that user has too many connections");
    return;
  }
  ++open;
  const ConnectionLimits limits{
      .messageBytes = caller->privileged() ? limits_.rootMessageBytes : limits_.userMessageBytes,
      .idle = limits_.idle,
      .transfer = limits_.transfer};
  connections_.try_emplace(++lastId_, std::move(socket), *caller, limits);
}

void Server::serve(Connections::iterator at, short events) {
  if (exchange(at->first, at->second, events)) return;
  if (--connectionsOf_[at->second.caller().uid] == 0) {
    connectionsOf_.erase(at->second.caller().uid);
  }
  connections_.erase(at);
}

bool Server::exchange(ConnectionId id, Connection& connection, short events) {
  constexpr short kGone = POLLHUP | POLLERR | POLLNVAL;
  // Bytes that were sent before the caller hung up still count, so reading comes first.
  if ((events & POLLIN) != 0 && !connection.readSome()) return false;
  if ((events & POLLOUT) != 0 && !connection.writeSome()) return false;
  if ((events & (POLLIN | POLLOUT)) == 0 && (events & kGone) != 0) return false;
  return answerCalls(id, connection) && !connection.finished();
}

bool Server::answerCalls(ConnectionId id, Connection& connection) {
  try {
    for (;;) {
      std::optional<std::string> text = connection.nextCall();
      if (!text) return true;
      Request request{.connection = id, .caller = connection.caller(), .text = {}};
      request.text = std::move(*text);
      const std::optional<std::string> answer = handler_(request);
      if (!answer) return true;
      if (!connection.answer(*answer)) return false;
    }
  } catch (const std::exception& e) {
    logger().log(tolk::LogLevel::info,
                 "Closed the connection of " + describe(connection.caller()) + ": " + e.what());
    return false;
  }
}

void Server::deliverLetters() {
  for (const Letter& letter : mailbox_.takeAll()) {
    const auto at = connections_.find(letter.connection);
    if (at == connections_.end()) continue;  // the caller did not wait
    serve(at, at->second.answer(letter.text) ? short{0} : short{POLLERR});
  }
}

void Server::dropSlow() {
  const Clock::time_point now = Clock::now();
  for (auto at = connections_.begin(); at != connections_.end();) {
    const auto current = at++;
    const auto deadline = current->second.deadline();
    if (deadline && now >= *deadline) serve(current, POLLERR);
  }
}

}  // namespace velkd
