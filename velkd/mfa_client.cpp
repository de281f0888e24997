// velkd mfa: a multi-factor authentication by hand.
#include "velkd/mfa_client.h"

#include <unistd.h>

#include <charconv>
#include <chrono>
#include <iostream>
#include <thread>

#include "cloud/signon/cloud_auth.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/terminal.h"
#include "tolk/base/text.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/local_rpc_session.h"
#include "velkd/exit_status.h"

namespace velkd {
namespace {

using tolk::MfaChoice;
using tolk::MfaStep;
using tolk::MfaSummary;

constexpr std::chrono::seconds kPollEvery(2);
constexpr std::chrono::minutes kPollFor(3);

/// Each line of a text from the platform, safe to print; the last one ends with a blank.
std::string shown(const std::string& text) {
  std::string lines;
  for (const std::string& line : tolk::split(text, '\n')) {
    if (!lines.empty()) lines += '\n';
    lines += tolk::printable(line);
  }
  if (!lines.ends_with(' ')) lines += ' ';
  return lines;
}

/// What a user types for these is a secret that lasts.
bool isSecret(const MfaChoice& choice) {
  return choice.name == tolk::CLOUD_MECH_UP || choice.name == tolk::CLOUD_MECH_RESET ||
         choice.name == tolk::CLOUD_MECH_SQ;
}

tolk::Shredder ask(const MfaChoice& choice) {
  const std::string prompt = shown(choice.prompt);
  if (isSecret(choice) && ::isatty(STDIN_FILENO) != 0) return tolk::promptPassword(prompt.c_str());
  std::cout << prompt << std::flush;
  return tolk::readSecretLine();
}

const MfaChoice& choose(const MfaStep& step) {
  if (step.choices.size() == 1) return step.choices.front();
  for (;;) {
    for (std::size_t i = 0; i < step.choices.size(); ++i) {
      std::cout << "  " << i + 1 << "  " << tolk::printable(step.choices[i].text) << '\n';
    }
    std::cout << "Which one? " << std::flush;
    const tolk::Shredder line = tolk::readSecretLine();
    if (line.empty()) throw tolk::IOException("No choice was made");
    std::size_t number = 0;
    (void)std::from_chars(line.c_str(), line.c_str() + line.size(), number);
    if (number >= 1 && number <= step.choices.size()) return step.choices[number - 1];
  }
}

/// A connection for each call: the daemon does not wait for a user at a prompt.
tolk::LocalRpcSession daemonSession() {
  return tolk::LocalRpcSession(tolk::kDaemonDirectory, false, true);
}

MfaStep advance(const MfaStep& step, const MfaChoice& choice, const char* action,
                const tolk::Shredder& answer) {
  return daemonSession().advanceMfa(step.session, choice.id, action, answer);
}

MfaStep poll(const MfaStep& step, const MfaChoice& choice) {
  const auto end = std::chrono::steady_clock::now() + kPollFor;
  for (;;) {
    MfaStep polled = advance(step, choice, tolk::JSON_VAL_ACTION_POLL, {});
    if (polled.summary != MfaSummary::pending || std::chrono::steady_clock::now() >= end) {
      return polled;
    }
    std::this_thread::sleep_for(kPollEvery);
  }
}

MfaStep answer(const MfaStep& step) {
  const MfaChoice choice = choose(step);
  if (!choice.outOfBand) {
    return advance(step, choice, tolk::JSON_VAL_ACTION_ANSWER, ask(choice));
  }
  MfaStep started = advance(step, choice, tolk::JSON_VAL_ACTION_STARTOOB, {});
  if (started.summary != MfaSummary::pending) return started;
  const tolk::Shredder text = ask(choice);
  if (choice.takesText && !text.empty()) {
    return advance(step, choice, tolk::JSON_VAL_ACTION_ANSWER, text);
  }
  return poll(step, choice);
}

bool goesOn(const MfaStep& step) {
  return step.summary == MfaSummary::nextChallenge || step.summary == MfaSummary::newPolicy;
}

}  // namespace

int authenticateUser(const std::string& user, const std::string& command) {
  MfaStep step = daemonSession().startMfa(user, "velkd", command);
  try {
    while (goesOn(step)) step = answer(step);
  } catch (const tolk::IOException&) {
    daemonSession().endMfa(step.session);
    throw;
  }
  if (!step.session.empty()) daemonSession().endMfa(step.session);
  if (step.summary == MfaSummary::authenticated) {
    std::cout << "The platform has authenticated " << tolk::printable(user) << ".\n";
    return exit_status::kSuccess;
  }
  std::cout << std::flush;
  std::cerr << "The platform has not authenticated " << tolk::printable(user)
            << (step.summary == MfaSummary::pending ? ": no answer came in time.\n" : ".\n");
  return exit_status::kMiscError;
}

}  // namespace velkd
