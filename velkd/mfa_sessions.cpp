// The multi-factor authentications that callers of the daemon carry on.
#include "velkd/mfa_sessions.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <vector>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/signon/get_handler.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"

namespace velkd {
namespace {

constexpr std::chrono::minutes kIdleLimit(5);
constexpr std::size_t kMostSessions = 256;
constexpr int kMostConnectors = 3;

/// Whether it was a connector that failed, and another one is left.
bool mayGoAnotherWay(const tolk::CloudAuth* client) {
  return client != nullptr && client->way().connectorFailed &&
         !tolk::ConnectorAccess::current()->getCloudConnector().empty();
}

/// Not to be guessed.
std::string randomName() {
  std::array<unsigned char, 16> bytes{};
  if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    throw tolk::IOException("No random numbers", errno);
  }
  std::string name;
  for (const unsigned char byte : bytes) name += tolk::hexByte(byte);
  return name;
}

}  // namespace

tolk::MfaStep MfaSessions::start(const tolk::MfaRequest& request) {
  dropOld();
  const auto session = std::make_shared<Session>();
  for (int tries = 1;; ++tries) {
    try {
      session->client = tolk::getHandler(request);
      session->policy = session->client->startAuthentication(request.user);
      break;
    } catch (const tolk::Base_Exception&) {
      if (tries == kMostConnectors || !mayGoAnotherWay(session->client.get())) throw;
      session->client.reset();
    }
  }
  session->client->releaseCurl();
  if (session->policy.challenges.empty()) {
    return step(*session, {}, tolk::MfaSummary::authenticated);
  }
  const std::string name = keep(session);
  return step(*session, name, tolk::MfaSummary::nextChallenge);
}

tolk::MfaStep MfaSessions::advance(const std::string& name, const std::string& choice,
                                   const std::string& action, const tolk::Shredder& answer) {
  const std::shared_ptr<Session> session = find(name);
  const std::unique_lock lock(session->mutex, std::try_to_lock);
  if (!lock) throw tolk::NotFoundException("The authentication is busy with another step.");
  (void)find(name);  // once more: the step that had the lock may have been the last
  const std::vector<tolk::MfaMechanism>& mechanisms =
      session->policy.challenges.at(session->challenge).mechanisms;
  const auto mechanism = std::ranges::find(mechanisms, choice, &tolk::MfaMechanism::id);
  if (mechanism == mechanisms.end()) {
    throw tolk::NotFoundException("The challenge has no such mechanism.");
  }
  int summary = tolk::MfaSummary::failed;
  try {
    summary = session->client->advanceAuthentication(action, *mechanism, answer);
  } catch (const tolk::CloudConnException&) {
    throw;
  } catch (...) {
    end(name);
    throw;
  }
  session->client->releaseCurl();
  if (summary == tolk::MfaSummary::newPolicy) {
    session->policy = session->client->policy();
    session->challenge = 0;
  }
  if (summary == tolk::MfaSummary::nextChallenge &&
      ++session->challenge == session->policy.challenges.size()) {
    summary = tolk::MfaSummary::failed;  // the platform asks for what it has not announced
  }
  const bool over =
      summary == tolk::MfaSummary::failed || summary == tolk::MfaSummary::authenticated;
  if (over) end(name);
  return step(*session, over ? std::string() : name, summary);
}

std::shared_ptr<MfaSessions::Session> MfaSessions::find(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto found = sessions_.find(name);
  if (found == sessions_.end()) {
    throw tolk::NotFoundException("The authentication is not known, or it took too long.");
  }
  found->second->used = std::chrono::steady_clock::now();
  return found->second;
}

std::string MfaSessions::keep(std::shared_ptr<Session> session) {
  std::string name = randomName();
  const std::lock_guard lock(mutex_);
  if (sessions_.size() >= kMostSessions) {
    throw tolk::CloudConnException("Too many authentications are under way.");
  }
  session->used = std::chrono::steady_clock::now();
  sessions_.emplace(name, std::move(session));
  return name;
}

void MfaSessions::end(const std::string& session) {
  std::shared_ptr<Session> ended;  // released without the lock
  const std::lock_guard lock(mutex_);
  const auto found = sessions_.find(session);
  if (found == sessions_.end()) return;
  ended = std::move(found->second);
  sessions_.erase(found);
}

template <typename Predicate>
void MfaSessions::dropWhere(const Predicate& predicate) {
  std::vector<std::shared_ptr<Session>> dropped;  // released without the lock
  const std::lock_guard lock(mutex_);
  std::erase_if(sessions_, [&](auto& entry) {
    if (!predicate(*entry.second)) return false;
    dropped.push_back(std::move(entry.second));
    return true;
  });
}

void MfaSessions::dropOld() {
  const auto oldest = std::chrono::steady_clock::now() - kIdleLimit;
  dropWhere([oldest](const Session& session) { return session.used < oldest; });
}

void MfaSessions::dropForeignCredentials() {
  const tolk::HttpProxy stored = tolk::getProxySettings();
  dropWhere([&stored](const Session& session) {
    const tolk::HttpProxy& proxy = session.client->way().proxy;
    return !proxy.user.empty() && !tolk::sameProxy(proxy, stored);
  });
}

tolk::MfaStep MfaSessions::step(const Session& session, const std::string& name, int summary) {
  tolk::MfaStep result{.session = name, .summary = summary, .challenge = {}, .choices = {}};
  if (name.empty()) return result;
  const tolk::MfaChallenge& challenge = session.policy.challenges.at(session.challenge);
  result.challenge = challenge.name;
  for (const tolk::MfaMechanism& mechanism : challenge.mechanisms) {
    result.choices.push_back({.id = mechanism.id,
                              .name = mechanism.name,
                              .text = session.client->getSelectText(mechanism),
                              .prompt = session.client->getAnswerPrompt(mechanism),
                              .outOfBand = tolk::isOutOfBand(mechanism),
                              .takesText = tolk::takesText(mechanism)});
  }
  return result;
}

}  // namespace velkd
