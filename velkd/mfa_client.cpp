// velkd mfa: a multi-factor authentication by hand.
#include "velkd/mfa_client.h"

#include <unistd.h>

#include <charconv>
#include <chrono>
#include <iostream>
#include <thread>

#include "cloud/cloud_auth.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/terminal.h"
#include "tolk/base/text.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/local_rpc_session.h"
#include "velkd/exit_status.h"

namespace velkd {
namespace {

using tolk::MfaAction;
using tolk::MfaChoice;
using tolk::MfaStep;
using tolk::MfaSummary;

constexpr std::chrono::seconds kPollEvery(2);
constexpr std::chrono::minutes kPollFor(3);

/// A line of standard input. Throws IOException at its end.
std::string readLine() {
  std::string line;
  if (!std::getline(std::cin, line)) throw tolk::IOException("The input has ended");
  return line;
}

/// What a user types for these is a secret that lasts.
bool isSecret(const MfaChoice& choice) {
  return choice.name == tolk::CLOUD_MECH_UP || choice.name == tolk::CLOUD_MECH_RESET ||
         choice.name == tolk::CLOUD_MECH_SQ;
}

tolk::Shredder ask(const MfaChoice& choice) {
  const std::string prompt = tolk::printable(choice.prompt) + " ";
  if (isSecret(choice) && ::isatty(STDIN_FILENO) != 0) return tolk::promptPassword(prompt.c_str());
  std::cout << prompt << std::flush;
  std::string line = readLine();
  tolk::Shredder answer(line);
  ::explicit_bzero(line.data(), line.size());
  return answer;
}

const MfaChoice& choose(const MfaStep& step) {
  if (step.choices.size() == 1) return step.choices.front();
  for (;;) {
    for (std::size_t i = 0; i < step.choices.size(); ++i) {
      std::cout << "  " << i + 1 << "  " << tolk::printable(step.choices[i].text) << '\n';
    }
    std::cout << "Which one? " << std::flush;
    const std::string line = readLine();
    std::size_t number = 0;
    (void)std::from_chars(line.data(), line.data() + line.size(), number);
    if (number >= 1 && number <= step.choices.size()) return step.choices[number - 1];
  }
}

class Dialogue {
 public:
  explicit Dialogue(tolk::LocalRpcSession& daemon) : daemon_(daemon) {}

  MfaStep answer(const MfaStep& step) {
    const MfaChoice choice = choose(step);
    if (!choice.outOfBand) return advance(step, choice, MfaAction::answer, ask(choice));
    MfaStep started = advance(step, choice, MfaAction::startOob, {});
    if (started.summary != MfaSummary::pending) return started;
    const tolk::Shredder text = ask(choice);
    if (choice.takesText && !text.empty()) {
      return advance(step, choice, MfaAction::answer, text);
    }
    return poll(step, choice);
  }

 private:
  MfaStep advance(const MfaStep& step, const MfaChoice& choice, const char* action,
                  const tolk::Shredder& answer) {
    return daemon_.advanceMfa(step.session, choice.id, action, answer);
  }

  MfaStep poll(const MfaStep& step, const MfaChoice& choice) {
    const auto end = std::chrono::steady_clock::now() + kPollFor;
    for (;;) {
      MfaStep polled = advance(step, choice, MfaAction::poll, {});
      if (polled.summary != MfaSummary::pending || std::chrono::steady_clock::now() >= end) {
        return polled;
      }
      std::this_thread::sleep_for(kPollEvery);
    }
  }

  tolk::LocalRpcSession& daemon_;
};

bool goesOn(const MfaStep& step) {
  return step.summary == MfaSummary::nextChallenge || step.summary == MfaSummary::newPolicy;
}

}  // namespace

int authenticateUser(const std::string& user, const std::string& command) {
  tolk::LocalRpcSession daemon(tolk::kDaemonDirectory, false, true);
  Dialogue dialogue(daemon);
  MfaStep step = daemon.startMfa(user, "velkd", command);
  while (goesOn(step)) step = dialogue.answer(step);
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
