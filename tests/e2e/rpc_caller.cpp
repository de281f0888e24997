// Speaks to the daemon's socket as the tests say, also in ways that no well-made client does.
//
//   rpc_caller MESSAGE...          one call after the other; an answer a line, "<closed>" at the
//   end rpc_caller --half MESSAGE      sends it without its end and waits for what comes rpc_caller
//   --size BYTES        one message of so many letters rpc_caller --callers N MESSAGE N connections
//   at once; how many got the first one's answer rpc_caller --seconds S MESSAGE as many calls as
//   possible on one connection; calls a second
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/raw_caller.h"

namespace {

constexpr const char* kSocket = "/var/orvald/daemon/velkd.sock";

using joinscope::test::framed;

class Caller : public joinscope::test::RawCaller {
 public:
  Caller() : RawCaller(kSocket) {}
  void call(const std::string& message) { send(framed(message)); }
};

long callTogether(std::size_t count, const std::string& message) {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
  std::list<Caller> callers(count);
  for (Caller& caller : callers) caller.call(message);
  std::vector<std::string> answers;
  for (Caller& caller : callers) answers.push_back(caller.receive());
  return std::count(answers.begin(), answers.end(), answers.front());
}

long callsInASecond(long seconds, const std::string& message) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  Caller caller;
  long calls = 0;
  for (; std::chrono::steady_clock::now() < end; ++calls) {
    caller.call(message);
    if (caller.receive() == "<closed>") throw std::runtime_error("closed");
  }
  return calls / seconds;
}

void run(const std::vector<std::string>& words) {
  const std::string& first = words.at(0);
  if (first == "--callers") {
    std::cout << callTogether(std::stoul(words.at(1)), words.at(2)) << '\n';
  } else if (first == "--seconds") {
    std::cout << callsInASecond(std::stol(words.at(1)), words.at(2)) << '\n';
  } else if (first == "--half" || first == "--size") {
    Caller caller;
    caller.send(first == "--half" ? words.at(1) : std::string(std::stoul(words.at(1)), 'x'));
    std::cout << caller.receive() << '\n';
  } else {
    Caller caller;
    for (const std::string& message : words) {
      caller.call(message);
      std::cout << caller.receive() << '\n';
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    run({argv + 1, argv + argc});
  } catch (const std::exception& e) {
    std::cout << "<" << e.what() << ">\n";
    return 1;
  }
}
