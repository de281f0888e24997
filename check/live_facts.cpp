// One wait in slices of a second, for the line that says what is being waited for.
#include "check/live_facts.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include "check/interrupt.h"
#include "facts/gathering.h"

namespace joinscope::check {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kWidth = 79;

/// What is being waited for, on one line of a terminal that is cleared afterwards.
class WaitingLine {
 public:
  explicit WaitingLine(bool wanted) : wanted_(wanted && ::isatty(STDERR_FILENO) == 1) {}
  WaitingLine(const WaitingLine&) = delete;
  WaitingLine& operator=(const WaitingLine&) = delete;
  ~WaitingLine() { show(""); }

  void showPending(const facts::Gathering& gathering, Clock::duration waited) {
    std::string line = "waiting for";
    for (const std::string& subject : gathering.unfinished()) line += ' ' + subject + ',';
    line.pop_back();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(waited).count();
    show(line.substr(0, kWidth - 8) + ' ' + std::to_string(seconds) + " s");
  }

 private:
  void show(const std::string& text) {
    if (wanted_ && (shown_ || !text.empty())) std::cerr << "\r\033[K" << text << std::flush;
    shown_ = !text.empty();
  }

  bool wanted_;
  bool shown_ = false;
};

/// Ends the process when this host's own files keep the gathering from starting: a keytab on a
/// file server that is gone holds the reader where no signal reaches it.
class StartGuard {
 public:
  explicit StartGuard(Clock::time_point deadline) : thread_([this, deadline] { run(deadline); }) {}
  StartGuard(const StartGuard&) = delete;
  StartGuard& operator=(const StartGuard&) = delete;
  ~StartGuard() {
    started_.set_value();
    thread_.join();
  }

 private:
  void run(Clock::time_point deadline) {
    if (started_.get_future().wait_until(deadline) == std::future_status::ready) return;
    constexpr char kText[] =
        "joincheck: --timeout is over and this host's own files are still being read: does /etc or "
        "/var lie on a server that is gone?\n";
    (void)!::write(STDERR_FILENO, kText, sizeof kText - 1);
    ::_exit(ExitStatus::kUnknown);
  }

  std::promise<void> started_;
  std::thread thread_;
};

std::string waitFor(facts::Gathering& gathering, const Options& options, Clock::time_point deadline,
                    Interrupt& interrupt) {
  constexpr std::chrono::seconds kSlice{1};
  const Clock::time_point started = Clock::now();
  const Clock::time_point patience = started + (deadline - started) * 3 / 5;
  WaitingLine line(options.format != Format::none);
  while (Clock::now() < deadline) {
    const Clock::time_point slice = std::min(Clock::now() + kSlice, deadline);
    if (gathering.wait(slice, interrupt.descriptor())) return {};
    if (std::string signal = interrupt.take(); !signal.empty()) return signal;
    if (Clock::now() > patience && gathering.leaveSlow()) return {};
    if (Clock::now() < deadline) line.showPending(gathering, Clock::now() - started);
  }
  return "--timeout";
}

}  // namespace

facts::Facts gatherFacts(const Options& options) {
  const auto limit = std::chrono::duration<double>(options.timeout);
  const Clock::time_point deadline = Clock::now() + std::chrono::ceil<Clock::duration>(limit);
  Interrupt interrupt;
  auto guard = std::make_unique<StartGuard>(deadline);
  facts::Gathering gathering(options.question);
  guard.reset();
  const std::string cut = waitFor(gathering, options, deadline, interrupt);
  facts::Facts facts = gathering.facts();
  facts.run.version = ORVALD_RELEASE;
  facts.run.cut = cut;
  return facts;
}

}  // namespace joinscope::check
