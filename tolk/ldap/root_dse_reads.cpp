// One task a server: connect, send the search, take its answer.
#include "tolk/ldap/root_dse_reads.h"

#include <algorithm>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/ldap_connect.h"
#include "tolk/ldap/ldap_error.h"
#include "tolk/net/operation.h"

namespace tolk {
namespace {

// Connects, asks, and takes the answer in as it comes.
class RootDseTask final : public Task<RootDse> {
 public:
  RootDseTask(EventLoop& loop, const HostPort& server, std::shared_ptr<bool> connected)
      : Task(loop, Clock::time_point::max()),
        connected_(std::move(connected)),
        connect_(startLdapConnect(loop, server)) {
    request_.filter = AD_ALL_OBJECTS;
  }

 private:
  void watch(std::vector<pollfd>& out) override {
    if (connection_ != nullptr) out.push_back({connection_->descriptor(), POLLIN, 0});
  }
  Clock::time_point wakeAt() override {
    return connect_.done() ? Clock::time_point::min() : answerBy_;
  }
  void advance(std::span<const pollfd> /*ready*/) override {
    if (connect_.done()) {
      connection_ = connect_.wait();
      id_ = connection_->send(request_);
      *connected_ = true;
      limit_ = connection_->bindLimit();
      answerBy_ = Clock::now() + limit_.time;
    } else if (connection_->poll(id_, request_, result_)) {
      finish({result_.objects.empty() ? ADObject() : std::move(result_.objects.front()),
              std::chrono::system_clock::now()});
    } else if (Clock::now() >= answerBy_) {
      connection_->throwTimeout(limit_);
    }
  }
  void expire() override {}

  std::shared_ptr<bool> connected_;
  Pending<std::shared_ptr<LdapConnection>> connect_;
  std::shared_ptr<LdapConnection> connection_;
  SearchRequest request_;
  SearchResult result_;
  int id_ = -1;
  WaitLimit limit_{};  // the read stands in for an anonymous bind
  Clock::time_point answerBy_ = Clock::time_point::max();
};

}  // namespace

Pending<RootDse> startRootDseRead(EventLoop& loop, const std::string& hostAndPort) {
  return startTask<RootDseTask>(loop, parseServer(hostAndPort), std::make_shared<bool>(false));
}

RootDseReads::RootDseReads(const std::vector<std::string>& servers) {
  for (const std::string& server : servers) {
    try {
      start(server);
    } catch (const LDAPException&) {
      // No host and port: take() says so when its turn comes.
    }
  }
}

RootDseReads::~RootDseReads() = default;

RootDseReads::Read& RootDseReads::start(const std::string& server) {
  const auto same = [&server](const Read& read) { return read.server == server; };
  const auto found = std::find_if(reads_.begin(), reads_.end(), same);
  if (found != reads_.end()) return *found;
  const auto connected = std::make_shared<bool>(false);
  reads_.push_back(
      {server, connected, startTask<RootDseTask>(loop_, parseServer(server), connected)});
  return reads_.back();
}

bool RootDseReads::waitConnected(const std::string& hostAndPort) {
  const Read& read = start(hostAndPort);
  loop_.runUntil([&read] { return *read.connected || read.pending.done(); });
  return *read.connected;
}

ADObject RootDseReads::take(const std::string& hostAndPort) {
  Pending<RootDse> pending = std::move(start(hostAndPort).pending);
  std::erase_if(reads_, [&](const Read& read) { return read.server == hostAndPort; });
  return pending.wait().object;
}

}  // namespace tolk
