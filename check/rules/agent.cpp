// The agent daemon: runs, answers, is connected, can write.
#include <cerrno>
#include <string>

#include "check/rule.h"

namespace joinscope::check {
namespace {

using facts::Facts;

// Exit statuses of joinscope --mode.
constexpr std::int64_t kConnected = 0;
constexpr std::int64_t kDisconnected = 1;
constexpr std::int64_t kStarting = 2;
constexpr std::int64_t kDown = 3;
constexpr std::int64_t kObjectDeleted = 5;
constexpr std::int64_t kObjectDisabled = 6;
constexpr std::int64_t kLockUnexaminable = 7;

const char kNotInstalled[] = "The agent is not installed on this host.";

bool told(const facts::Agent& agent) {
  return !agent.state.empty();
}

Verdict judgeRunning(const Facts& facts) {
  const facts::Agent& agent = facts.agent;
  if (!agent.installed) return notMeant(kNotInstalled);
  if (!told(agent)) return unknown("It was not asked.");
  switch (agent.status) {
    case kDown:
      return broken("The agent daemon velkd does not run.", {"systemctl start velkd"});
    case kStarting:
      return broken(
          "The agent daemon velkd holds its lock, but nobody answers at its socket: it "
          "is starting, or hangs.",
          {"systemctl status velkd", "systemctl restart velkd"});
    case kLockUnexaminable:
      return unknown("Needs root: velkd does not answer, and its lock cannot be examined.");
    default:
      return fine();
  }
}

Verdict judgeConnected(const Facts& facts) {
  const facts::Agent& agent = facts.agent;
  if (!agent.installed) return notMeant(kNotInstalled);
  if (!told(agent)) return unknown("It was not asked.");
  switch (agent.status) {
    case kConnected:
      return fine(agent.controller.empty() ? "" : "Connected to " + agent.controller);
    case kObjectDeleted:
      return broken("The agent daemon finds no computer object of this host.");
    case kObjectDisabled:
      return broken("The agent daemon finds the computer object of this host disabled.");
    case kDisconnected:
      return broken("The agent daemon has no connection to the domain" +
                        (agent.problems.empty() ? "." : ": " + agent.problems.front()),
                    {"joinscope -y health"});
    default:
      return broken("The agent daemon's state is " + agent.state + ".", {"joinscope -y health"});
  }
}

Verdict judgeHealth(const Facts& facts) {
  const facts::Agent& agent = facts.agent;
  if (!agent.installed) return notMeant(kNotInstalled);
  if (!agent.asked.answered()) {
    return unknown(agent.asked.asked() ? "It did not tell: " + agent.asked.reason
                                       : "It was not asked.");
  }
  if (agent.problems.empty()) return fine();
  return warning("The agent daemon knows a problem: " + agent.problems.front(),
                 {"joinscope -y health"});
}

Verdict judgeTime(const Facts& facts) {
  const facts::Agent& agent = facts.agent;
  if (!agent.installed) return notMeant(kNotInstalled);
  if (!told(agent)) return unknown("It was not asked.");
  constexpr double kLong = 2;
  if (agent.seconds < kLong) return fine();
  return warning("The agent daemon took " + std::to_string(static_cast<int>(agent.seconds)) +
                     " s to answer: logins wait that long as well.",
                 {"joinscope -y health"});
}

Verdict judgeVersion(const Facts& facts) {
  const facts::Agent& agent = facts.agent;
  if (!agent.installed) return notMeant(kNotInstalled);
  if (agent.version.empty()) return unknown("It was not told.");
  if (agent.version == agent.ownVersion) return fine("Release " + agent.version);
  return warning("The agent daemon that runs is release " + agent.version + ", this command " +
                     agent.ownVersion + ": it was not restarted after an upgrade.",
                 {"systemctl restart velkd"});
}

Verdict judgeWrites(const Facts& facts) {
  const facts::Agent& agent = facts.agent;
  if (!agent.installed) return notMeant(kNotInstalled);
  if (!facts.host.root) return unknown("Needs root: only root may write there.");
  if (agent.stateWritable.asked() && !agent.stateWritable.answered()) {
    return broken("/var/orvald cannot be written: " + agent.stateWritable.reason,
                  {"mount | grep ' /var'", "ls -ld /var/orvald"});
  }
  if (agent.logWritable.asked() && !agent.logWritable.answered() &&
      agent.logWritable.code != ENOENT) {
    return warning("The log /var/log/orvald.log cannot be written: " + agent.logWritable.reason,
                   {"ls -l /var/log/orvald.log"});
  }
  return fine();
}

constexpr Rule kRules[] = {
    {.id = "agent.running",
     .title = "The agent daemon runs",
     .needs = "",
     .judge = judgeRunning,
     .looksAt = "The daemon's socket and its lock.",
     .wrong = "Nobody answers: programs that ask the agent get nothing.",
     .remedy = "systemctl start velkd",
     .source = "velkd(8)"},
    {.id = "agent.connected",
     .title = "The agent daemon is connected to the domain",
     .needs = "agent.running join.domain join.settings resolver.answers dns.ldap dc.ldap dc.kdc "
              "time.offset keytab.present keytab.readable keytab.version keytab.keys "
              "account.exists account.enabled account.expired account.locked krb.login ldap.bind",
     .judge = judgeConnected,
     .looksAt = "This host's computer object, read through the daemon.",
     .wrong = "Disconnected, or the object is gone or disabled.",
     .remedy = "joinscope -y health",
     .source = "velkd(8)"},
    {.id = "agent.health",
     .title = "The agent daemon knows of no problem",
     .needs = "agent.running agent.connected join.settings resolver.answers dns.ldap dc.ldap "
              "dc.kdc time.offset keytab.present keytab.readable keytab.version keytab.keys "
              "account.exists account.enabled account.expired account.locked krb.login ldap.bind",
     .judge = judgeHealth,
     .looksAt = "The daemon's own section Health, after a look at the directory.",
     .wrong = "Something that will show later: a key that is behind, a ticket that cannot be "
              "renewed.",
     .remedy = "joinscope -y health",
     .source = "velkd(8)"},
    {.id = "agent.time",
     .title = "The agent daemon answers at once",
     .needs = "agent.running agent.connected",
     .judge = judgeTime,
     .looksAt = "The time until it had told the state of the computer object.",
     .wrong = "Two seconds and more.",
     .remedy = "joinscope -y health",
     .source = "velkd(8)"},
    {.id = "agent.version",
     .title = "The agent daemon is of this release",
     .needs = "agent.running",
     .judge = judgeVersion,
     .looksAt = "The releases of the daemon that runs and of this command.",
     .wrong = "They differ: the daemon is still the one of before the upgrade.",
     .remedy = "systemctl restart velkd",
     .source = "velkd(8)"},
    {.id = "agent.writes",
     .title = "The agent daemon can write its log and its state",
     .needs = "",
     .judge = judgeWrites,
     .looksAt = "/var/orvald and /var/log/orvald.log.",
     .wrong = "A file system that is read-only, or permissions.",
     .remedy = "Look at mounts and permissions.",
     .source = "velkd(8)"},
};

}  // namespace

std::span<const Rule> agentRules() {
  return kRules;
}

}  // namespace joinscope::check
