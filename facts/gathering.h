// Gathers the facts: what lies on this host at once, then every subject that needs an answer of
// somebody in a thread of its own, so that all waits overlap.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "facts/facts.h"
#include "tolk/base/shredder.h"

namespace joinscope::facts {

/// What is to be found out.
struct Question {
  std::string domain;    ///< of which; empty: the one that this host is joined to
  bool joining = false;  ///< for a host that is to be joined to it
  std::string server;    ///< ask only this controller
  std::string user;      ///< whose password is tried; empty: nobody's
  tolk::Shredder password;
};

/// The way from a subject to the facts.
class Publish {
 public:
  Publish() = default;
  Publish(const Publish&) = delete;
  Publish& operator=(const Publish&) = delete;
  virtual ~Publish() = default;

  /// Hands over what a subject has learnt; `take` is called at once, one at a time.
  virtual void operator()(const std::function<void(Facts&)>& take) const = 0;
  /// Waits until what another subject publishes is what this one needs; returns the facts as they
  /// are then.
  [[nodiscard]] virtual Facts waitFor(const std::function<bool(const Facts&)>& published) const = 0;
};

/// The subjects, each with a thread of its own. `local` holds what was read on this host; each
/// publishes early what it knows early, because it may be cut at any time.
void askNetwork(const Question& question, const Facts& local, const Publish& publish);
void askDirectory(const Question& question, const Facts& local, const Publish& publish);
void askHostWay(const Question& question, const Facts& local, const Publish& publish);
void askUserLogin(const Question& question, const Facts& local, const Publish& publish);
void askAgent(const Question& question, const Facts& local, const Publish& publish);
void askOtherAgents(const Question& question, const Facts& local, const Publish& publish);

class Gathering {
 public:
  /// Reads what this host holds and starts asking.
  explicit Gathering(const Question& question);
  Gathering(const Gathering&) = delete;
  Gathering& operator=(const Gathering&) = delete;
  /// Leaves subjects that are not finished alone: their threads go on until the process ends.
  ~Gathering() = default;

  /// Waits until all subjects are finished; false when `deadline` came first, or `interrupt` (a
  /// descriptor, -1 for none) can be read.
  [[nodiscard]] bool wait(std::chrono::steady_clock::time_point deadline, int interrupt);

  /// Gives up those that have limits of their own, beyond all patience: the library that goes by
  /// krb5.conf, and the agent. When they have used up their part of a run, it is known that they
  /// are slow. Does nothing and returns false while somebody else is still being asked.
  [[nodiscard]] bool leaveSlow();

  /// The subjects that are still being asked, in words: "the name servers and controllers".
  [[nodiscard]] std::vector<std::string> unfinished() const;

  /// A copy of what is known by now.
  [[nodiscard]] Facts facts() const;

 private:
  struct State;
  std::shared_ptr<State> state_;  // shared with the threads
};

/// The domain that everything is asked of, and who names it: the question, the join settings, the
/// keytab, krb5.conf, in this order. Pure.
void chooseDomain(const Question& question, Facts& facts);

}  // namespace joinscope::facts
