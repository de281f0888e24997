// One thread a subject; they meet in State, whose mutex guards the facts and whose event counter
// wakes the one that waits.
#include "facts/gathering.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

#include "facts/machine_login.h"
#include "tolk/base/handle.h"
#include "tolk/base/text.h"
#include "tolk/krb5/profile_overlay.h"

namespace joinscope::facts {
namespace {

using Clock = std::chrono::steady_clock;

struct Subject {
  const char* name;
  void (*ask)(const Question&, const Facts&, const Publish&);
  bool worthWaiting = true;
};

constexpr Subject kSubjects[] = {
    {"the name servers and controllers", askNetwork},
    {"the agent daemon", askAgent, false},
    {"other agents on this host", askOtherAgents},
    {"the computer account and the directory", askDirectory},
    {"Kerberos by krb5.conf", askHostWay, false},
    {"the user's login", askUserLogin},
};

Facts readLocal(const Question& question) {
  Facts facts;
  facts.run.joining = question.joining;
  facts.run.server = question.server;
  facts.host = readHost();
  facts.join = readJoin();
  facts.keytab = readKeytab();
  facts.kerberos.config = readKerberosConfig("");
  chooseDomain(question, facts);
  if (!facts.join.domain.empty()) {
    facts.kerberos.config = readKerberosConfig(facts.join.domain);
    facts.kerberos.account = accountToShow(facts);
    facts.kerberos.keys = keysToShow(facts, facts.kerberos.account);
  }
  facts.kerberos.user = question.user;
  return facts;
}

/// Before there are threads, and once a process: a thread may read the environment at any time. The
/// agent's own way needs nothing of a file that nobody can read, and would move it aside; it stays,
/// and is a finding. GSS-API's contexts take what they need from the overlay.
void prepareKerberos(const Facts& facts) {
  if (!facts.kerberos.config.malformed.empty()) ::setenv("KRB5_CONFIG", "/dev/null", 1);
  static const tolk::GssConfigOverlay* overlay = nullptr;
  if (overlay != nullptr || facts.join.domain.empty()) return;
  overlay = new tolk::GssConfigOverlay(std::list<std::string>{facts.join.domain});
}

}  // namespace

struct Gathering::State final : Publish {
  Question question;
  Facts local;
  Clock::time_point started = Clock::now();
  tolk::UniqueFd finished{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  mutable std::mutex mutex;
  mutable std::condition_variable published;
  mutable Facts facts;               // guarded by the mutex, as are the two below
  std::vector<std::string> pending;  // names of subjects
  std::vector<std::string> failures;

  void operator()(const std::function<void(Facts&)>& take) const override;
  [[nodiscard]] Facts waitFor(const std::function<bool(const Facts&)>& condition) const override;
  void run(const Subject& subject);
  void end(const Subject& subject, const std::string& failure);
};

void Gathering::State::operator()(const std::function<void(Facts&)>& take) const {
  const std::lock_guard lock(mutex);
  take(facts);
  published.notify_all();
}

Facts Gathering::State::waitFor(const std::function<bool(const Facts&)>& condition) const {
  std::unique_lock lock(mutex);
  published.wait(lock, [&] { return condition(facts); });
  return facts;
}

void Gathering::State::run(const Subject& subject) {
  std::string failure;
  try {
    subject.ask(question, local, *this);
  } catch (const std::exception& e) {
    failure = std::string(subject.name) + ": " + e.what();
  }
  end(subject, failure);
}

void Gathering::State::end(const Subject& subject, const std::string& failure) {
  const std::lock_guard lock(mutex);
  std::erase(pending, subject.name);
  if (!failure.empty()) failures.push_back(failure);
  if (!pending.empty()) return;
  facts.run.seconds = std::chrono::duration<double>(Clock::now() - started).count();
  ::eventfd_write(finished.get(), 1);
}

Gathering::Gathering(const Question& question) : state_(std::make_shared<State>()) {
  state_->question = question;
  state_->local = readLocal(question);
  state_->facts = state_->local;
  prepareKerberos(state_->local);
  for (const Subject& subject : kSubjects) state_->pending.emplace_back(subject.name);
  for (const Subject& subject : kSubjects) {
    std::thread([state = state_, &subject] { state->run(subject); }).detach();
  }
}

bool Gathering::wait(Clock::time_point deadline, int interrupt) {
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd descriptors[] = {{.fd = state_->finished.get(), .events = POLLIN, .revents = 0},
                            {.fd = interrupt, .events = POLLIN, .revents = 0}};
    const int ready = ::poll(descriptors, 2, static_cast<int>(std::max<long>(left.count(), 0)));
    if (ready > 0 && descriptors[0].revents != 0) return true;
    if (ready > 0 || left.count() <= 0) return false;
  }
}

bool Gathering::leaveSlow() {
  const std::lock_guard lock(state_->mutex);
  const bool others = std::ranges::any_of(kSubjects, [this](const Subject& subject) {
    return subject.worthWaiting &&
           std::ranges::find(state_->pending, subject.name) != state_->pending.end();
  });
  if (others) return false;
  state_->pending.clear();
  state_->facts.run.seconds = std::chrono::duration<double>(Clock::now() - state_->started).count();
  return true;
}

std::vector<std::string> Gathering::unfinished() const {
  const std::lock_guard lock(state_->mutex);
  return state_->pending;
}

Facts Gathering::facts() const {
  const std::lock_guard lock(state_->mutex);
  Facts facts = state_->facts;
  facts.run.unfinished = state_->pending;
  facts.run.unfinished.insert(facts.run.unfinished.end(), state_->failures.begin(),
                              state_->failures.end());
  if (!state_->pending.empty()) {
    facts.run.seconds = std::chrono::duration<double>(Clock::now() - state_->started).count();
  }
  return facts;
}

void chooseDomain(const Question& question, Facts& facts) {
  const auto take = [&facts](const std::string& name, const std::string& namedBy) {
    if (!facts.join.domain.empty() || name.empty()) return;
    facts.join.domain = tolk::toLower(name);
    facts.join.namedBy = namedBy;
  };
  take(question.domain, question.joining ? "--join" : "--domain");
  take(facts.join.joinedDomain, "the join settings");
  const std::string& account = facts.keytab.account;
  if (const auto at = account.rfind('@'); at != std::string::npos) {
    take(account.substr(at + 1), facts.keytab.path);
  }
  take(facts.kerberos.config.defaultRealm, "default_realm of krb5.conf");
}

}  // namespace joinscope::facts
